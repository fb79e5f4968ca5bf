// FlagsText: the flags of a slot or token as a string for people.
#pragma once

#include <string>
#include <vector>

#include "cryptoki/Pkcs11.h"

struct FlagName {
  CK_FLAGS flag;
  const char* name;
};

// FlagsText returns "[0x00000007] " and the names of the flags that are set, in the order of `names`, with " | "
// between them and one space after the last.
//
// Required: when no flag with a name is set, std::out_of_range is thrown.
std::string FlagsText(CK_FLAGS flags, const std::vector<FlagName>& names);
