// load_library NAME [hold]: loads a library and releases it, as a program that uses the provider does. Exits with 1
// when it cannot be loaded. With "hold" it prints "loaded", and releases the library after it reads a line.
#include <windows.h>

#include <cstdio>
#include <cstring>

int main(int count, char** arguments) {
  if (count != 2 && !(count == 3 && std::strcmp(arguments[2], "hold") == 0)) return 2;
  const HMODULE library = LoadLibraryA(arguments[1]);
  if (library == nullptr) {
    std::fprintf(stderr, "load_library: %s cannot be loaded, error %u\n", arguments[1],
                 static_cast<unsigned>(GetLastError()));
    return 1;
  }
  if (count == 3) {
    std::puts("loaded");
    std::fflush(stdout);
    std::getchar();
  }
  FreeLibrary(library);
  return 0;
}
