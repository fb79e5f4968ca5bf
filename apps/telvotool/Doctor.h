// What "telvotool doctor" finds.
#pragma once

#include <functional>
#include <string>

namespace tool {

// Whether the lines show serial numbers and the names of cards, certificates and containers.
enum class Names { kShown, kLeftOut };

// What replaces them.
extern const char kLeftOut[];

// Examines the installation and passes on a line for each finding: "ok", "warn" or "FAIL", the subject, the finding,
// and after a semicolon what to do. Returns whether no line begins with "FAIL".
bool Examine(const std::function<void(const std::string& line)>& take, Names names);

}  // namespace tool
