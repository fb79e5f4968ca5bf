// A number in a text.
#pragma once

#include "common/Platform.h"

#include <boost/format.hpp>
#include <string>

// FormatNumber puts `value` in the place of the one directive of `format`: "%08X", "%d". The number has no sign.
inline std::string FormatNumber(const char* format, DWORD value) { return (boost::format(format) % value).str(); }
