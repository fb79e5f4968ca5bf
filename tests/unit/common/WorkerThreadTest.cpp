#include <chrono>
#include <gtest/gtest.h>
#include <new>

#include "common/CCSPContextError.h"
#include "common/WorkerThread.h"
#include "cryptoki/CryptokiError.h"

namespace {

// Whether the work ends within ten seconds.
bool IsDoneSoon(const WorkerThread& thread) {
  const auto start = std::chrono::steady_clock::now();
  thread.WaitUntilDone(10000);
  return std::chrono::steady_clock::now() - start < std::chrono::seconds(10);
}

TEST(WorkerThreadTest, WorkThatRunsOutOfMemoryEndsAndTheProgramGoesOn) {
  WorkerThread thread([]() -> unsigned { throw std::bad_alloc(); });
  EXPECT_TRUE(IsDoneSoon(thread));
  thread.Terminate();
}

TEST(WorkerThreadTest, WorkThatThrowsAProviderExceptionEndsAndTheProgramGoesOn) {
  WorkerThread thread([]() -> unsigned { throw CryptokiError(CKR_DEVICE_REMOVED); });
  EXPECT_TRUE(IsDoneSoon(thread));
  thread.Terminate();
  WorkerThread another([]() -> unsigned { throw CCSPContextError("message", NTE_FAIL); });
  EXPECT_TRUE(IsDoneSoon(another));
  another.Terminate();
}

TEST(WorkerThreadTest, WorkThatWaitsIsTerminated) {
  const HANDLE never = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  WorkerThread thread([never]() -> unsigned {
    WaitForMultipleObjects(1, &never, FALSE, INFINITE);
    return 0;
  });
  thread.Terminate();
  EXPECT_TRUE(IsDoneSoon(thread));
  CloseHandle(never);
}

TEST(WorkerThreadTest, AWaitTimesOutWhileTheWorkGoesOn) {
  const HANDLE release = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  WorkerThread thread([release]() -> unsigned {
    WaitForMultipleObjects(1, &release, FALSE, INFINITE);
    return 0;
  });
  const auto start = std::chrono::steady_clock::now();
  thread.WaitUntilDone(50);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(45));
  SetEvent(release);
  EXPECT_TRUE(IsDoneSoon(thread));
  thread.Terminate();
  CloseHandle(release);
}

}  // namespace
