// CheckAcquireFlags: whether a container name and the flags of CPAcquireContext go together.
#pragma once

#include "common/Platform.h"

// Raises CCSPContextError NTE_BAD_FLAGS or NTE_BAD_KEYSET_PARAM when they do not. Null means that there is no name; the
// empty string is a name.
void CheckAcquireFlags(const char* containerName, DWORD flags);
