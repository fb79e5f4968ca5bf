// ExportOf: a function of a library that was loaded by hand.
#pragma once

#include <windows.h>

// Null if the library exports no such name. The caller names the type, such as decltype(&CPSignHash) for a function
// of entry/ProviderInterface.h. The return type of GetProcAddress differs between the targets, so the pointer is cast
// twice.
template <typename Function>
Function ExportOf(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}
