// Why a file cannot be loaded as a library of this program, as far as its first bytes show.
#pragma once

#include <string>
#include <string_view>

namespace adapter {

enum class System { Windows, Linux };

// WhyNotLoadable returns the reason, such as "is a library for 32-bit programs, and this program has 64 bits". It is
// empty if the first bytes are those of a library for `system` on this processor. 4096 bytes of the file are enough.
std::string WhyNotLoadable(std::string_view firstBytes, System system);

}  // namespace adapter
