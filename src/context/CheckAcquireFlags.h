// CheckAcquireFlags: whether a container name and the flags of CPAcquireContext go together.
#pragma once

#include "common/Platform.h"

// Raises CCSPContextError NTE_BAD_FLAGS or NTE_BAD_KEYSET_PARAM when they do not. A null name is no name, an empty one
// is.
void CheckAcquireFlags(const char* containerName, DWORD flags);
