// Functions of the test program in the place of the system's, which they may call. A source that has some defines each
// as SCRIPTED(Function), reaches the system's own as REAL(library, Function), and on Windows puts the address into the
// import's pointer, `__imp_Function`, through which the program calls it. On the host the linker leads the calls here
// (--wrap), and the source declares `__real_Function`.
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
