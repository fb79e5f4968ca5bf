#include <gtest/gtest.h>
#include <string>

#include "context/unreached/RunProcess.h"

namespace {

TEST(RunProcessTest, TheExitCodeIsThatOfTheProgram) {
  DWORD code = 4711;
  EXPECT_TRUE(RunProcess("cmd.exe /c exit 3", true, &code));
  EXPECT_EQ(3U, code);
}

TEST(RunProcessTest, WithoutWaitingThereIsNoExitCode) {
  DWORD code = 4711;
  EXPECT_TRUE(RunProcess("cmd.exe /c exit 3", false, &code));
  EXPECT_EQ(4711U, code);
}

TEST(RunProcessTest, AProgramThatThereIsNotIsRefused) {
  DWORD code = 4711;
  EXPECT_FALSE(RunProcess("no-such-program.exe", true, &code));
  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
  EXPECT_EQ(4711U, code);
}

DWORD OpenHandles() {
  DWORD count = 0;
  EXPECT_NE(FALSE, GetProcessHandleCount(GetCurrentProcess(), &count));
  return count;
}

TEST(RunProcessTest, NoHandleStaysOpen) {
  for (const bool wait : {true, false}) {
    RunProcess("cmd.exe /c exit 3", wait, nullptr);  // the first run may open something that stays
    const DWORD before = OpenHandles();
    EXPECT_TRUE(RunProcess("cmd.exe /c exit 3", wait, nullptr));
    EXPECT_EQ(before, OpenHandles()) << wait;
  }
}

// The program of the next test.
TEST(RunProcessTest, DISABLED_TakesAWhile) { Sleep(500); }

TEST(RunProcessTest, WindowsAreServedWhileItWaits) {
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
