// Texts are UTF-8 inside the program, and UTF-16 where Windows wants them.
#pragma once

#include <string>

namespace tool {

std::wstring Wide(const std::string& text);
std::string Narrow(const std::wstring& text);
// Whether two texts are the same but for the case of A to Z.
bool SameButCase(const std::string& left, const std::string& right);

// A text of a fixed field of the module: up to its first zero byte, without the blanks behind it.
std::string WithoutBlanksBehind(const std::string& text);

}  // namespace tool
