// Lets a test program replace functions of the system and still call the originals. A source file defines each
// replacement as SCRIPTED(Function) and calls the original as REAL(library, Function). On Windows it also defines the
// import pointer `__imp_Function`, through which the program calls the function. On the host the linker redirects the
// calls (--wrap), and the source file declares `__real_Function`.
#pragma once

#include "common/Platform.h"

#ifdef _WIN32

template <typename Function>
Function RealFunction(Function /*declared*/, const char* library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(library), name)));
}

#define SCRIPTED(name) Scripted##name
#define REAL(library, name) RealFunction(&Scripted##name, library, #name)

#else

#define SCRIPTED(name) __wrap_##name
#define REAL(library, name) __real_##name

#endif
