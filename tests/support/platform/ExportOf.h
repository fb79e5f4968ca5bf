// ExportOf: a function of a library that was loaded by hand.
#pragma once

#include <windows.h>

// Null if the library exports no such name. The type is the caller's to know: decltype(&CPSignHash) for a function of
// entry/ProviderInterface.h. Which type GetProcAddress gives differs between the targets, so there is a step in
// between.
template <typename Function>
Function ExportOf(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}
