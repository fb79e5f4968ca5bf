// What the operations of the log leave in the file, with single line ends.
#pragma once

#include <string>

// WriteLine.
inline std::string LogLine(const std::string& text) { return text + "   \n"; }
// Write, WriteHex and their kin, with a value and a line end.
inline std::string LogValue(const std::string& label, const std::string& value) { return label + " " + value + " \n"; }
