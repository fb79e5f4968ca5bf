// What a key is to be used for (extended key usage): names like "clientAuth", or object identifiers.
#pragma once

#include <string>
#include <vector>

namespace tool {

// The object identifiers of a list like "clientAuth,1.3.6.1.5.5.7.3.4", in its order. Raises UsageError for an unknown
// name, an invalid identifier, an empty entry, or an entry that occurs twice.
std::vector<std::string> ParsePurposes(const std::string& list);

}  // namespace tool
