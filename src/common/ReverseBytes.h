// ReverseBytes: between the platform's little-endian numbers and the module's big-endian ones.
#pragma once

#include "common/Platform.h"

#include <algorithm>

// Turns the bytes end for end in place.
inline void ReverseBytes(BYTE* data, DWORD length) {
  if (length >= 2) std::reverse(data, data + length);
}
