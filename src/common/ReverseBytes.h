// ReverseBytes: the platform's numbers are little-endian, the module's are big-endian.
#pragma once

#include "common/Platform.h"

#include <algorithm>

// Reverses the order of the bytes in place.
inline void ReverseBytes(BYTE* data, DWORD length) {
  if (length >= 2) std::reverse(data, data + length);
}
