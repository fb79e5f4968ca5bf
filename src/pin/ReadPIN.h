// Taking a PIN out of its edit.
#pragma once

#include "common/Platform.h"

#include <cstddef>

#include "pin/CSecureEditEx.h"

// ReadPIN copies the real text of `edit` to `out`, which may be null, and its length in bytes to `*length`, without a
// terminator. NTE_INVALID_PARAMETER without `length`. NTE_INTERNAL_ERROR, and nothing is written, when no terminator
// stands within the first `limit` bytes, or there is no memory.
DWORD ReadPIN(const DialogView& view, const CSecureEditEx& edit, std::size_t limit, BYTE* out, DWORD* length);
