// load_library NAME: loads a library and releases it, as a program that uses the provider does. Ends with 1 when there
// is none.
#include <windows.h>

#include <cstdio>

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const HMODULE library = LoadLibraryA(arguments[1]);
  if (library == nullptr) {
    std::fprintf(stderr, "load_library: %s cannot be loaded, error %u\n", arguments[1],
                 static_cast<unsigned>(GetLastError()));
    return 1;
  }
  FreeLibrary(library);
  return 0;
}
