// RemovePKCSPadding: takes the padding off the end of decrypted data.
#pragma once

#include "common/Platform.h"

// The padding is n bytes of the value n, at the end of `data`. They are zeroed, and `*length`, in bytes, becomes less
// by n. False, and nothing changes, when there is no padding or no data.
//
// Required: n is not limited by any block, so that a padding may be longer than that.
bool RemovePKCSPadding(BYTE* data, DWORD* length);
