// late_line: an item that is logged after the log's mutex was closed does not lock it, because the handle may belong
// to something else by then.
#include <cstdio>
#include <cstdlib>

#include "log/CCSPLog.h"
#include "platform/StandIn.h"
#include "platform/TempFolder.h"
#include "platform/TestRegistry.h"

namespace {

int g_waits = 0;

CCSPLog* g_log = nullptr;

// Is destroyed after the mutex, because it is constructed before the first item is logged.
struct LateLine {
  std::string file;
  ~LateLine() {
    g_waits = 0;
    g_log->WriteLine("late");
    const bool written = ReadFile(file).find("late") != std::string::npos;
    if (!written || g_waits != 0) {
      std::printf("FAILED: the late line was %swritten, with %d waits\n", written ? "" : "not ", g_waits);
      std::fflush(stdout);
      std::_Exit(1);
    }
    std::puts("the late line was written without the lock");
  }
};

}  // namespace

// Counts the calls of WaitForSingleObject. On Windows the program calls it through the import pointer; on the host
// the linker redirects the calls here.
#ifdef _WIN32
static DWORD WINAPI CountedWait(HANDLE handle, DWORD milliseconds) {
  ++g_waits;
  return RealFunction(&CountedWait, "kernel32.dll", "WaitForSingleObject")(handle, milliseconds);
}

extern "C" {
void* __imp_WaitForSingleObject = reinterpret_cast<void*>(&CountedWait);
}
#else
extern "C" {
DWORD __real_WaitForSingleObject(HANDLE handle, DWORD milliseconds);

DWORD __wrap_WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  ++g_waits;
  return __real_WaitForSingleObject(handle, milliseconds);
}
}
#endif

int main() {
  static const TempFolder folder;
  static const LateLine lateLine{folder.File("csp.log")};
  TestRegistry registry;
  registry.SetText(kProductKey, "CSPLOG", "1");
  registry.SetText(kProductKey, "CSPDIR", lateLine.file);
  static CCSPLog log(10);
  g_log = &log;
  log.WriteLine("early");
  if (g_waits == 0) {
    std::puts("FAILED: the early line did not take the lock");
    std::_Exit(1);
  }
  return 0;
}
