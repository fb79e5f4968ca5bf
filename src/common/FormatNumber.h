// Numbers in strings.
#pragma once

#include "common/Platform.h"

#include <boost/format.hpp>
#include <locale>
#include <string>

// FillNarrowCache makes the standard library fill a table of characters now. Otherwise it does so while it formats, and
// without a lock.
inline bool FillNarrowCache() {
  const auto& characters = std::use_facet<std::ctype<char>>(std::locale::classic());
  for (int c = 0; c < 256; ++c) characters.narrow(static_cast<char>(c), '\0');
  return true;
}

// FormatNumber replaces the one directive of `format`, "%08X" or "%d", by `value`, which is unsigned. A format without
// one, such as a string of the string table that could not be loaded, stays as it is.
inline std::string FormatNumber(const char* format, DWORD value) {
  [[maybe_unused]] static const bool cacheFilled = FillNarrowCache();
  boost::format text(format);
  text.exceptions(boost::io::all_error_bits ^ boost::io::too_many_args_bit);
  return (text % value).str();
}
