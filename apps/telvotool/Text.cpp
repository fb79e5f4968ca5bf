#include "telvotool/Text.h"

#include "common/Platform.h"

namespace tool {

std::wstring Wide(const std::string& text) {
  const int given = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), given, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), given, wide.data(), length);
  return wide;
}

std::string Narrow(const std::wstring& text) {
  const int given = static_cast<int>(text.size());
  const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), given, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), given, narrow.data(), length, nullptr, nullptr);
  return narrow;
}

bool SameButCase(const std::string& left, const std::string& right) {
  return CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, left.data(), static_cast<int>(left.size()), right.data(),
                        static_cast<int>(right.size())) == CSTR_EQUAL;
}

std::string WithoutTrailingSpaces(const std::string& text) {
  const std::string shown = text.substr(0, text.find('\0'));
  return shown.substr(0, shown.find_last_not_of(' ') + 1);
}

}  // namespace tool
