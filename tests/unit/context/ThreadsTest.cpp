// Different threads use different handles, also while a watcher runs. Under ThreadSanitizer these tests show that they
// may.
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "common/CCSPContextError.h"
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "fixtures/EntryTest.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"

namespace {

constexpr int kRounds = 25;

class ThreadsTest : public EntryTest {
 protected:
  ThreadsTest() {
    AddContainer(m_module.InsertToken("Reader A"), Text("one"));
    AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  }

  // Acquires a context on a token, passes it the PIN, logs in from the cache, releases it. False when anything fails,
  // except for a PIN that the watcher cleared.
  static bool UseToken(const std::string& reader) {
    HCRYPTPROV handle = 0;
    if (CPAcquireContext(&handle, ("\\\\.\\" + reader + "\\one").c_str(), CRYPT_SILENT, nullptr) == FALSE) return false;
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

  // Makes a session key in a context, uses and exports it, imports the blob again in the platform's byte order, and
  // destroys both keys.
  static bool UseKeys(HCRYPTPROV provider) {
    HCRYPTKEY pair = 0;
    HCRYPTKEY key = 0;
    HCRYPTKEY imported = 0;
    BYTE blob[140] = {};
    DWORD length = sizeof(blob);
    BYTE data[8] = {};
    DWORD dataLength = sizeof(data);
    if (CPGetUserKey(provider, AT_KEYEXCHANGE, &pair) == FALSE) return false;
    if (CPGenKey(provider, CALG_3DES, 0, &key) == FALSE) return false;
    if (CPEncrypt(provider, key, 0, FALSE, 0, data, &dataLength, sizeof(data)) == FALSE) return false;
    if (CPDecrypt(provider, key, 0, FALSE, 0, data, &dataLength) == FALSE) return false;
    if (CPExportKey(provider, key, pair, SIMPLEBLOB, 0, blob, &length) == FALSE) return false;
    std::reverse(blob + 12, blob + 140);
    if (CPImportKey(provider, blob, sizeof(blob), 0, 0, &imported) == FALSE) return false;
    return CPDestroyKey(provider, key) != FALSE && CPDestroyKey(provider, imported) != FALSE;
  }
};

TEST_F(ThreadsTest, EightThreadsUseTheirOwnContextsOnTwoTokens) {
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

TEST_F(ThreadsTest, FourThreadsMakeAndDestroyKeysInTheirOwnContextsOnTwoTokens) {
  std::vector<HCRYPTPROV> providers;
  for (int number = 0; number < 4; ++number) {
    providers.push_back(AcquireHandle(number % 2 == 0 ? "\\\\.\\Reader A\\one" : "\\\\.\\Reader B\\one", CRYPT_SILENT));
    const BYTE pin[] = {'1', '2', '3', '4'};
    g_contextList.FindContext(providers.back())->LoginWithPIN(pin, sizeof(pin));
  }
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (const HCRYPTPROV provider : providers) {
    threads.emplace_back([provider, &failures] {
      for (int round = 0; round < kRounds; ++round) {
        if (!UseKeys(provider)) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
  EXPECT_EQ(0U, g_secretKeyFactory.Count());
  for (const char* reader : {"Reader A", "Reader B"}) EXPECT_EQ(3U, m_module.InsertToken(reader).objects.size());
}

TEST_F(ThreadsTest, ContextsAreAcquiredWhileOtherThreadsMakeAndDestroyKeysOnTheSameToken) {
  std::atomic<int> failures{0};
  std::atomic<int> makers{4};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    const HCRYPTPROV provider = AcquireHandle("\\\\.\\Reader A\\one", CRYPT_SILENT);
    const BYTE pin[] = {'1', '2', '3', '4'};
    g_contextList.FindContext(provider)->LoginWithPIN(pin, sizeof(pin));
    threads.emplace_back([provider, &failures, &makers] {
      for (int round = 0; round < kRounds; ++round) {
        if (!UseKeys(provider)) ++failures;
      }
      --makers;
    });
  }
  for (const char* name : {"one", "\\\\.\\Reader A\\one"}) {
    threads.emplace_back([name, &failures, &makers] {
      while (makers != 0) {
        HCRYPTPROV handle = 0;
        const bool acquired = CPAcquireContext(&handle, name, CRYPT_SILENT, nullptr) != FALSE;
        if (!acquired || CPReleaseContext(handle, 0) == FALSE) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
}

// Releasing a context destroys the session keys that are left in it.
TEST_F(ThreadsTest, ContextsAreAcquiredWhileOtherThreadsReleaseTheirsWithTheirKeys) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&failures] {
      for (int round = 0; round < kRounds; ++round) {
        HCRYPTPROV handle = 0;
        HCRYPTKEY key = 0;
        const BYTE pin[] = "1234";
        const bool done = CPAcquireContext(&handle, "one", CRYPT_SILENT, nullptr) != FALSE &&
                          CPSetProvParam(handle, PP_SIGNATURE_PIN, pin, 0) != FALSE &&
                          CPGenKey(handle, CALG_3DES, 0, &key) != FALSE && CPReleaseContext(handle, 0) != FALSE;
        if (!done) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
}

TEST_F(ThreadsTest, AWatcherClearsPINsDuringLogins) {
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
