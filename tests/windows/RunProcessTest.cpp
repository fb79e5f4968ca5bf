#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "context/unreached/RunProcess.h"
#include "platform/StandIn.h"

namespace {

std::vector<HANDLE> g_opened;  // by the last CreateProcessA
std::vector<HANDLE> g_closed;

}  // namespace

extern "C" {

BOOL WINAPI SCRIPTED(CreateProcessA)(LPCSTR program, LPSTR line, LPSECURITY_ATTRIBUTES process,
                                     LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                                     LPCSTR folder, LPSTARTUPINFOA startup, LPPROCESS_INFORMATION started) {
  const BOOL result = REAL("kernel32.dll", CreateProcessA)(program, line, process, thread, inherit, flags, environment,
                                                           folder, startup, started);
  if (result != FALSE) g_opened = {started->hProcess, started->hThread};
  return result;
}

BOOL WINAPI SCRIPTED(CloseHandle)(HANDLE handle) {
  if (!g_opened.empty()) g_closed.push_back(handle);
  return REAL("kernel32.dll", CloseHandle)(handle);
}

void* __imp_CreateProcessA = reinterpret_cast<void*>(&ScriptedCreateProcessA);
void* __imp_CloseHandle = reinterpret_cast<void*>(&ScriptedCloseHandle);

}  // extern "C"

namespace {

TEST(RunProcessTest, TheProgramsExitCodeIsReturned) {
  DWORD code = 4711;
  EXPECT_TRUE(RunProcess("cmd.exe /c exit 3", true, &code));
  EXPECT_EQ(3U, code);
}

TEST(RunProcessTest, WithoutWaitingThereIsNoExitCode) {
  DWORD code = 4711;
  EXPECT_TRUE(RunProcess("cmd.exe /c exit 3", false, &code));
  EXPECT_EQ(4711U, code);
}

TEST(RunProcessTest, AMissingProgramIsRefused) {
  DWORD code = 4711;
  EXPECT_FALSE(RunProcess("no-such-program.exe", true, &code));
  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
  EXPECT_EQ(4711U, code);
}

TEST(RunProcessTest, BothHandlesOfTheProgramAreClosed) {
  for (const bool wait : {true, false}) {
    g_opened.clear();
    g_closed.clear();
    EXPECT_TRUE(RunProcess("cmd.exe /c exit 3", wait, nullptr));
    ASSERT_EQ(2U, g_opened.size());
    for (const HANDLE handle : g_opened) EXPECT_EQ(1, std::count(g_closed.begin(), g_closed.end(), handle)) << wait;
  }
  g_opened.clear();
}

// The next test runs this as its program.
TEST(RunProcessTest, DISABLED_TakesAWhile) { Sleep(500); }

TEST(RunProcessTest, WindowMessagesAreHandledWhileItWaits) {
  char program[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, program, sizeof(program));
  const std::string command =
      "\"" + std::string(program) + "\" --gtest_also_run_disabled_tests --gtest_filter=*DISABLED_TakesAWhile";
  const HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 1, 1, HWND_MESSAGE, nullptr, nullptr, nullptr);
  static int ticks;
  ticks = 0;
  const UINT_PTR timer = SetTimer(window, 1, 10, [](HWND, UINT, UINT_PTR, DWORD) { ++ticks; });
  DWORD code = 0;
  EXPECT_TRUE(RunProcess(command.c_str(), true, &code));
  KillTimer(window, timer);
  DestroyWindow(window);
  EXPECT_EQ(0U, code);
  EXPECT_GT(ticks, 0);
}

}  // namespace
