// Single bytes as characters, for the log and for names.
#pragma once

#include "common/Platform.h"

#include <string>

// Appends the byte as two upper-case hexadecimal digits.
inline void AppendHex(std::string& text, BYTE value) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  text += kDigits[value >> 4U];
  text += kDigits[value & 15U];
}

// Whether the byte is a character that can be shown: '!' to '~', so no space.
inline bool IsPlain(BYTE value) { return value >= 33 && value <= 126; }
