#include "context/unreached/RunProcess.h"

#include <memory>
#include <string>

namespace {

struct CloseObject {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseObject>;

constexpr DWORD kRound = 100;  // milliseconds

void ServeWindows() {
  MSG message;
  while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
    TranslateMessage(&message);
    DispatchMessageA(&message);
  }
}

}  // namespace

bool RunProcess(const char* commandLine, bool wait, DWORD* exitCode) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_HIDE;
  PROCESS_INFORMATION started = {};
  std::string line = commandLine;  // the system may write to it
  if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started) == FALSE) {
    return false;
  }
  const Handle process(started.hProcess);
  const Handle thread(started.hThread);
  if (!wait) return true;
  while (WaitForSingleObject(process.get(), kRound) == WAIT_TIMEOUT) ServeWindows();
  if (exitCode != nullptr) GetExitCodeProcess(process.get(), exitCode);
  return true;
}
