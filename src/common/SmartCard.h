// PC/SC, as Platform.h is the rest of the platform. A header of its own, because what it includes on Windows declares
// names like `byte` and defines macros like `small`.
#pragma once

#include "common/Platform.h"

#include <winscard.h>
