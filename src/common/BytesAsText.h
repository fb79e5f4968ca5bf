// How single bytes are shown in the log and in names.
#pragma once

#include "common/Platform.h"

#include <string>

// Appends the byte as two upper-case hexadecimal digits.
inline void AppendHex(std::string& text, BYTE value) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  text += kDigits[value >> 4U];
  text += kDigits[value & 15U];
}

// Whether the byte is shown as the character that it is: '!' to '~', no blank.
inline bool IsPlain(BYTE value) { return value >= 33 && value <= 126; }
