// Threads of the host build.
#include <windows.h>

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace {

struct Work {
  std::atomic<int> begun{0};
  int ended = 0;
};

// Writes and sleeps alternately, for ever.
DWORD WriteAndSleep(LPVOID argument) {
  Work& work = *static_cast<Work*>(argument);
  while (true) {
    ++work.begun;
    const int file = open("/dev/null", O_WRONLY);
    EXPECT_EQ(1, write(file, "x", 1));
    close(file);
    ++work.ended;
    Sleep(0);
  }
}

TEST(PosixThreadsTest, ATerminatedThreadRunsUntilItsNextSleep) {
  for (int round = 0; round < 50; ++round) {
    Work work;
    const HANDLE thread = CreateThread(nullptr, 0, &WriteAndSleep, &work, 0, nullptr);
    while (work.begun == 0) std::this_thread::yield();
    TerminateThread(thread, 0);
    EXPECT_EQ(work.begun, work.ended);
    CloseHandle(thread);
  }
}

DWORD CatchEverythingOnce(LPVOID event) {
  try {
    WaitForSingleObject(event, INFINITE);
  } catch (...) {
  }
  Sleep(INFINITE);
  return 0;
}

TEST(PosixThreadsTest, AThreadThatCatchesEverythingIsTerminatedAtItsNextSleep) {
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const HANDLE thread = CreateThread(nullptr, 0, &CatchEverythingOnce, event, 0, nullptr);
  TerminateThread(thread, 0);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 0));
  CloseHandle(thread);
  CloseHandle(event);
}

// As on Windows: code that could not create an event may still try to set it.
TEST(PosixThreadsTest, SettingANullEventFails) {
  SetLastError(0);
  EXPECT_FALSE(SetEvent(nullptr));
  EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

DWORD WaitForEver(LPVOID event) { return WaitForSingleObject(event, INFINITE); }

TEST(PosixThreadsTest, AWaitingThreadIsTerminated) {
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const HANDLE thread = CreateThread(nullptr, 0, &WaitForEver, event, 0, nullptr);
  TerminateThread(thread, 0);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 0));
  CloseHandle(thread);
  CloseHandle(event);
}

}  // namespace
