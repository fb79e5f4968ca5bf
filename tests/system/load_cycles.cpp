// load_cycles CYCLES PROVIDER CONTAINER...: in each cycle, loads the provider, acquires and releases a context on each
// container, and unloads the provider. load_cycles CYCLES THREADS: in each cycle, starts and terminates this number of
// threads, as the provider does with its watchers.
//
// Prints "begun" after a tenth of the cycles, at most a hundred, and "done" at the end, and waits each time for a
// line. Fails when more handles are open at the end than at "begun".
#include "common/Platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#ifndef _WIN32
#include <dlfcn.h>
#endif

#include "entry/ProviderInterface.h"
#include "platform/ExportOf.h"
#include "platform/OpenHandles.h"

namespace {

bool Use(HMODULE library, const char* container) {
  HCRYPTPROV handle = 0;
  const auto acquire = ExportOf<decltype(&CPAcquireContext)>(library, "CPAcquireContext");
  const auto release = ExportOf<decltype(&CPReleaseContext)>(library, "CPReleaseContext");
  return acquire(&handle, container, CRYPT_SILENT, nullptr) != FALSE && release(handle, 0) != FALSE;
}

bool IsLoaded() {
#ifdef _WIN32
  return GetModuleHandleA("telvocsp.dll") != nullptr;
#else
  void* const library = dlopen("libtelvocsp.so", RTLD_LAZY | RTLD_NOLOAD);
  if (library != nullptr) dlclose(library);
  return library != nullptr;
#endif
}

bool RunCycle(const char* provider, const std::vector<const char*>& containers) {
  const HMODULE library = LoadLibraryA(provider);
  if (library == nullptr) return false;
  const bool used = std::all_of(containers.begin(), containers.end(),
                                [library](const char* container) { return Use(library, container); });
  return FreeLibrary(library) != FALSE && used && !IsLoaded();
}

DWORD WINAPI WaitForever(LPVOID runs) {
  SetEvent(runs);
  Sleep(INFINITE);
  return 0;
}

// Wine does not tolerate the termination of a thread that is starting, which may hold a lock of the process.
bool StartAndTerminate() {
  const HANDLE runs = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const HANDLE thread = CreateThread(nullptr, 0, WaitForever, runs, 0, nullptr);
  WaitForSingleObject(runs, INFINITE);
  Sleep(10);
  const bool terminated = TerminateThread(thread, 0) != FALSE;
  CloseHandle(thread);
  CloseHandle(runs);
  return terminated;
}

bool TerminateThreads(int count) {
  bool terminated = true;
  for (int i = 0; i < count; ++i) terminated = StartAndTerminate() && terminated;
  return terminated;
}

// Prints the point reached and waits, so that the caller can look at the process.
void Pause(const char* text) {
  std::printf("%s\n", text);
  std::fflush(stdout);
  std::getchar();
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 2;
  const int cycles = std::atoi(arguments[1]);
  const std::vector<const char*> containers(arguments + 3, arguments + count);
  long handlesAtFirst = 0;
  for (int cycle = 1; cycle <= cycles; ++cycle) {
    if (!(containers.empty() ? TerminateThreads(std::atoi(arguments[2])) : RunCycle(arguments[2], containers))) {
      std::printf("cycle %d failed, last error %08X\n", cycle, static_cast<unsigned>(GetLastError()));
      return 1;
    }
    if (cycle == std::min(cycles / 10, 100)) {
      handlesAtFirst = OpenHandles();
      Pause("begun");
    }
  }
  const long handles = OpenHandles() - handlesAtFirst;
  if (handles > 0) {
    std::printf("%ld handles more than at first\n", handles);
    return 1;
  }
  Pause("done");
  return 0;
}
