// ReadPIN: the PIN that a user typed into an edit.
#pragma once

#include "common/Platform.h"

#include <cstddef>

#include "dialogs/CSecureEditEx.h"

// Copies the PIN, without a terminator, to `out`, which has room for `*length` bytes, and sets `*length` to the PIN's
// length in bytes. With a null `out` only the length is set. A PIN may have `mostWithTerminator` bytes, its terminator
// included.
//
// NTE_INVALID_PARAMETER without `length`. NTE_INTERNAL_ERROR for a PIN that is longer than that or does not fit into
// `out`, and for an allocation failure; nothing is written then.
DWORD ReadPIN(const DialogView& view, const CSecureEditEx& edit, std::size_t mostWithTerminator, BYTE* out,
              DWORD* length);
