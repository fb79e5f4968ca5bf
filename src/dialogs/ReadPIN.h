// Taking a PIN out of its edit.
#pragma once

#include "common/Platform.h"

#include <cstddef>

#include "dialogs/CSecureEditEx.h"

// ReadPIN copies the real text of `edit`, without a terminator, to `out`, which has room for `*length` bytes, and its
// length in bytes to `*length`; with a null `out` the length alone. NTE_INVALID_PARAMETER without `length`.
// NTE_INTERNAL_ERROR, and nothing is written, when no terminator stands within the first `limit` bytes, when the text
// has outgrown the room, or there is no memory.
DWORD ReadPIN(const DialogView& view, const CSecureEditEx& edit, std::size_t limit, BYTE* out, DWORD* length);
