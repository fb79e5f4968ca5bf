// The report that a user sends to the makers.
#pragma once

#include <string>
#include <vector>

namespace tool {

// Versions, what doctor finds, the settings and the lines of a self-test. It holds no PIN, no key, no certificate, and
// no name or number of a person: neither of the card nor of the user.
std::string BugReport(const std::vector<std::string>& selfTest);

}  // namespace tool
