// Different handles on different threads, beside a watcher. Under ThreadSanitizer this is the test that says they may.
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "EntryTest.h"
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextError.h"
#include "entry/CCSPContextList.h"
#include "pin/PINCacheManager.h"

namespace {

constexpr DWORD kSilent = 0x40;
constexpr int kRounds = 25;

class ThreadsTest : public EntryTest {
 protected:
  ThreadsTest() {
    AddContainer(m_module.InsertToken("Reader A"), Text("one"));
    AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  }

  // Acquires a context on a token, gives it the PIN, logs in from the cache, releases it. False when anything fails but
  // a PIN that the watcher took away.
  static bool UseToken(const std::string& reader) {
    HCRYPTPROV handle = 0;
    if (CPAcquireContext(&handle, ("\\\\.\\" + reader + "\\one").c_str(), kSilent, nullptr) == FALSE) return false;
    const auto context = g_contextList.FindContext(handle);
    bool good = context->HasPrivateKey() != 0;
    try {
      const BYTE pin[] = {'1', '2', '3', '4'};
      context->LoginWithPIN(pin, sizeof(pin));
      context->Login();
    } catch (const CCSPContextError& error) {
      good = good && error.GetCode() == static_cast<DWORD>(NTE_SILENT_CONTEXT);
    }
    return CPReleaseContext(handle, 0) != FALSE && good;
  }
};

TEST_F(ThreadsTest, EightThreadsUseContextsOfTheirOwnOnTwoTokens) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([number, &failures] {
      for (int round = 0; round < kRounds; ++round) {
        if (!UseToken(number % 2 == 0 ? "Reader A" : "Reader B")) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
  EXPECT_EQ(0U, m_module.OpenSessions());
}

TEST_F(ThreadsTest, AWatcherClearsPINsBesideLogins) {
  std::atomic<bool> running{true};
  std::thread watcher([&running] {
    while (running) {
      const auto cache = g_pinCacheManager.GetPINCache("Reader A");
      if (cache) cache->ClearPINCache();
    }
  });
  int failures = 0;
  for (int round = 0; round < 4 * kRounds; ++round) {
    if (!UseToken("Reader A")) ++failures;
  }
  running = false;
  watcher.join();
  EXPECT_EQ(0, failures);
}

}  // namespace
