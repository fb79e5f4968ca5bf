// The registry key below which the product keeps its settings.
#pragma once

#include "common/Platform.h"

// OpenProductKey opens the first of the product's three keys below HKEY_LOCAL_MACHINE that exists, newest
// product name first. Only the opening falls through: a value that is missing under the key that opens is not
// looked for under the next one. On true the caller closes `*key` with RegCloseKey.
bool OpenProductKey(HKEY* key);
