// unload PROVIDER CONTAINER...: loads the provider, acquires a context on each container, releases them, and unloads
// it.
#include "common/Platform.h"

#include <cstdio>
#include <vector>

#include "entry/ProviderInterface.h"
#include "platform/ExportOf.h"

int main(int count, char** arguments) {
  if (count < 3) return 2;
  const HMODULE library = LoadLibraryA(arguments[1]);
  if (library == nullptr) return 1;
  const auto acquire = ExportOf<decltype(&CPAcquireContext)>(library, "CPAcquireContext");
  const auto release = ExportOf<decltype(&CPReleaseContext)>(library, "CPReleaseContext");
  std::vector<HCRYPTPROV> contexts;
  for (int i = 2; i < count; ++i) {
    HCRYPTPROV context = 0;
    if (acquire(&context, arguments[i], CRYPT_SILENT, nullptr) == FALSE) {
      std::printf("%s: %08X\n", arguments[i], static_cast<unsigned>(GetLastError()));
      return 1;
    }
    contexts.push_back(context);
  }
  for (const HCRYPTPROV context : contexts) release(context, 0);
  return FreeLibrary(library) != FALSE ? 0 : 1;
}
