// unload PROVIDER CONTAINER...: loads the provider, acquires a context on each container, releases them, and unloads
// it.
#include "common/Platform.h"

#include <cstdio>
#include <vector>

namespace {

using AcquireFunction = BOOL(WINAPI*)(HCRYPTPROV*, LPCSTR, DWORD, void*);
using ReleaseFunction = BOOL(WINAPI*)(HCRYPTPROV, DWORD);

template <typename Function>
Function Export(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 2;
  const HMODULE library = LoadLibraryA(arguments[1]);
  if (library == nullptr) return 1;
  std::vector<HCRYPTPROV> contexts;
  for (int i = 2; i < count; ++i) {
    HCRYPTPROV context = 0;
    if (Export<AcquireFunction>(library, "CPAcquireContext")(&context, arguments[i], CRYPT_SILENT, nullptr) == FALSE) {
      std::printf("%s: %08X\n", arguments[i], static_cast<unsigned>(GetLastError()));
      return 1;
    }
    contexts.push_back(context);
  }
  for (const HCRYPTPROV context : contexts) Export<ReleaseFunction>(library, "CPReleaseContext")(context, 0);
  return FreeLibrary(library) != FALSE ? 0 : 1;
}
