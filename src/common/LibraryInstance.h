// The instance of the library that holds the provider's own resources: dialogs, texts, pictures. Null, which stands for
// the program itself, where the provider is linked into a program, as in the unit tests. Set by DllMain.
#pragma once

#include "common/Platform.h"

extern HINSTANCE g_libraryInstance;
