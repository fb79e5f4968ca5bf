// Threads of the host build.
#include <windows.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

namespace {

struct Work {
  bool written = false;
  bool woken = false;
};

// Is told to end, and has still something to write.
DWORD WriteAndSleep(LPVOID argument) {
  Work& work = *static_cast<Work*>(argument);
  pthread_cancel(pthread_self());  // what TerminateThread asks for
  const int file = open("/dev/null", O_WRONLY);
  work.written = write(file, "x", 1) == 1;
  close(file);
  Sleep(0);
  work.woken = true;
  return 0;
}

TEST(PosixThreadsTest, ATerminatedThreadGoesOnToItsNextSleep) {
  Work work;
  const HANDLE thread = CreateThread(nullptr, 0, &WriteAndSleep, &work, 0, nullptr);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000));
  TerminateThread(thread, 0);
  EXPECT_TRUE(work.written);
  EXPECT_FALSE(work.woken);
  CloseHandle(thread);
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
