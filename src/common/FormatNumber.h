// A number in a text.
#pragma once

#include "common/Platform.h"

#include <boost/format.hpp>
#include <locale>
#include <string>

// FillNarrowCache has the standard library compute a table that it otherwise fills bit by bit, without a lock, while
// texts are formatted.
inline bool FillNarrowCache() {
  const auto& characters = std::use_facet<std::ctype<char>>(std::locale::classic());
  for (int c = 0; c < 256; ++c) characters.narrow(static_cast<char>(c), '\0');
  return true;
}

// FormatNumber puts `value` in the place of the one directive of `format`: "%08X", "%d". The number has no sign.
inline std::string FormatNumber(const char* format, DWORD value) {
  [[maybe_unused]] static const bool cacheFilled = FillNarrowCache();
  return (boost::format(format) % value).str();
}
