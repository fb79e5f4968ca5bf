// Settings of the provider whose effect is surely not intended.
#pragma once

#include "common/Platform.h"

#include <optional>
#include <string>

#include "settings/Settings.h"

namespace tool {

struct Oddity {
  std::string what;  // follows the setting's name
  std::string toDo;
};

// What is odd about the type, the length or the string in the registry. No value when nothing is odd or it is missing.
std::optional<Oddity> OddityOf(const Setting& setting, const StoredSetting& stored);

// What prevents the provider from writing the log file of that path. No value when the path is empty. The path is in
// the code page in which the provider uses it.
std::optional<Oddity> OddityOfLogFile(const std::string& path);

}  // namespace tool
