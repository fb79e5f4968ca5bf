// RemovePKCSPadding: removes the padding from the end of decrypted data.
#pragma once

#include "common/Platform.h"

// The padding is n bytes of the value n at the end of `data`. They are zeroed, and `*length`, in bytes, shrinks by n.
// Without padding or data the result is false, and nothing changes.
//
// Required: n may be larger than a block.
bool RemovePKCSPadding(BYTE* data, DWORD* length);
