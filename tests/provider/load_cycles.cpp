// load_cycles CYCLES PROVIDER CONTAINER: loads the provider, acquires and releases a context, unloads it, again and
// again. load_cycles CYCLES: starts and terminates a thread as often, which is what the provider does with its watcher.
//
// Says "begun" behind a tenth of the cycles and "done" at the end, and waits each time for a line.
#include "common/Platform.h"

#include <cstdio>
#include <cstdlib>

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

DWORD WINAPI WaitForever(LPVOID /*unused*/) {
  Sleep(INFINITE);
  return 0;
}

bool TerminateOneThread() {
  const HANDLE thread = CreateThread(nullptr, 0, WaitForever, nullptr, 0, nullptr);
  Sleep(30);  // Wine does not stand a thread that is terminated as it starts
  const bool terminated = TerminateThread(thread, 0) != FALSE;
  CloseHandle(thread);
  return terminated;
}

// Says what was reached and lets whoever runs the program look at the process.
void Pause(const char* text) {
  std::printf("%s\n", text);
  std::fflush(stdout);
  std::getchar();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 && count != 4) return 2;
  const int cycles = std::atoi(arguments[1]);
  for (int cycle = 1; cycle <= cycles; ++cycle) {
    if (!(count == 4 ? RunCycle(arguments[2], arguments[3]) : TerminateOneThread())) {
      std::printf("cycle %d failed, last error %08lX\n", cycle, GetLastError());
      return 1;
    }
    if (cycle == cycles / 10) Pause("begun");
  }
  Pause("done");
  return 0;
}
