// The library that has the provider's resources: dialogs, strings, pictures. DllMain sets it. It is null, which means
// the program itself, where the provider is linked into a program, as in the unit tests.
#pragma once

#include "common/Platform.h"

extern HINSTANCE g_libraryInstance;
