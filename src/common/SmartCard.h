// The platform's PC/SC functions. They are not in Platform.h, because on Windows this header declares names like `byte`
// and defines macros like `small`.
#pragma once

#include "common/Platform.h"

#include <winscard.h>
