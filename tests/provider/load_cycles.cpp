// load_cycles PROVIDER CONTAINER CYCLES: loads the provider, acquires and releases a context, unloads it, again and
// again. Prints the growth of the process between the tenth part of the cycles and the end.
#include "common/Platform.h"

#include <cstdio>
#include <cstdlib>
#include <psapi.h>

namespace {

using AcquireFunction = BOOL(WINAPI*)(HCRYPTPROV*, LPCSTR, DWORD, void*);
using ReleaseFunction = BOOL(WINAPI*)(HCRYPTPROV, DWORD);

template <typename Function>
Function Export(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

bool RunCycle(const char* provider, const char* container) {
  const HMODULE library = LoadLibraryA(provider);
  if (library == nullptr) return false;
  HCRYPTPROV handle = 0;
  const bool acquired =
      Export<AcquireFunction>(library, "CPAcquireContext")(&handle, container, CRYPT_SILENT, nullptr) != FALSE;
  const bool released = acquired && Export<ReleaseFunction>(library, "CPReleaseContext")(handle, 0) != FALSE;
  return FreeLibrary(library) != FALSE && released && GetModuleHandleA("telvocsp.dll") == nullptr;
}

struct Usage {
  long long handles = 0;
  long long kilobytes = 0;
};

Usage Measure() {
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  PROCESS_MEMORY_COUNTERS memory = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
  return {static_cast<long long>(handles), static_cast<long long>(memory.PagefileUsage / 1024)};
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  const int cycles = std::atoi(arguments[3]);
  Usage before;
  for (int cycle = 1; cycle <= cycles; ++cycle) {
    if (!RunCycle(arguments[1], arguments[2])) {
      std::printf("cycle %d failed, last error %08lX\n", cycle, GetLastError());
      return 1;
    }
    if (cycle == cycles / 10) before = Measure();
  }
  const Usage after = Measure();
  std::printf("%d cycles; growth since cycle %d: %lld handles, %lld KB\n", cycles, cycles / 10,
              after.handles - before.handles, after.kilobytes - before.kilobytes);
  return 0;
}
