// ReverseBytes: the bytes of an array end for end, in place.
#pragma once

#include <algorithm>
#include <cstdint>

inline void ReverseBytes(std::uint8_t* data, std::uint32_t length) { std::reverse(data, data + length); }
