// Settings of the provider that have an effect which nobody can have meant.
#pragma once

#include "common/Platform.h"

#include <optional>
#include <string>

#include "settings/Settings.h"

namespace tool {

struct Oddity {
  std::string what;  // goes on after the setting's name
  std::string toDo;
};

// What is odd about the type, the length or the text that the registry holds; nothing for a plain value or none.
std::optional<Oddity> OddityOf(const Setting& setting, const StoredSetting& stored);

// What keeps the provider from writing the log file of that path; nothing when the path is empty. The path is in the
// code page in which the provider uses it.
std::optional<Oddity> OddityOfLogFile(const std::string& path);

}  // namespace tool
