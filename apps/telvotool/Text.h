// Strings are UTF-8 inside the program, and UTF-16 where Windows needs that.
#pragma once

#include <string>

namespace tool {

std::wstring Wide(const std::string& text);
std::string Narrow(const std::wstring& text);
// Whether two strings are equal apart from the case of A to Z.
bool SameButCase(const std::string& left, const std::string& right);

// The string in a fixed field of the module: up to its first zero byte, and without the spaces at its end.
std::string WithoutTrailingSpaces(const std::string& text);

}  // namespace tool
