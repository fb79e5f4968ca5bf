// Different handles on different threads, with the whole provider on one card.
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "ProviderTest.h"

namespace {

class ThreadsTest : public ProviderTest {
 protected:
  // Without the log, which would take most of the time in which the threads could overlap.
  ThreadsTest() : ProviderTest(Cards::kEmptied, Logging::kOff) { m_cardA.AddContainer("one"); }

  static bool AcquireOn(const char* container, HCRYPTPROV* handle) {
    return CryptAcquireContextA(handle, container, kProviderName, PROV_RSA_FULL, CRYPT_SILENT) != FALSE;
  }

  // Imports a public key and destroys it, repeatedly. Such keys are session objects, which all sessions see.
  static int UsePublicKeys(HCRYPTPROV provider, const std::vector<BYTE>& blob, int rounds) {
    int failures = 0;
    for (int round = 0; round < rounds; ++round) {
      HCRYPTKEY key = 0;
      const bool done = CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key) != FALSE &&
                        CryptDestroyKey(key) != FALSE;
      if (!done) ++failures;
    }
    return failures;
  }

  static int UseSessionKeys(HCRYPTPROV provider, int rounds) {
    int failures = 0;
    for (int round = 0; round < rounds; ++round) {
      HCRYPTKEY key = 0;
      if (CryptGenKey(provider, CALG_3DES, 0, &key) == FALSE || CryptDestroyKey(key) == FALSE) ++failures;
    }
    return failures;
  }

  HCRYPTPROV AcquireLoggedIn() {
    HCRYPTPROV handle = 0;
    EXPECT_TRUE(AcquireOn("one", &handle));
    const BYTE pin[] = "123456";
    EXPECT_EQ("true", Result(CryptSetProvParam(handle, PP_SIGNATURE_PIN, pin, 0)));
    return handle;
  }
};

TEST_F(ThreadsTest, ContextsAreAcquiredWhileOtherThreadsMakeAndDestroyKeysOnTheSameCard) {
  const HCRYPTPROV makers[] = {AcquireLoggedIn(), AcquireLoggedIn(), AcquireLoggedIn()};
  HCRYPTKEY pair = 0;
  ASSERT_EQ("true", Result(CryptGetUserKey(makers[0], AT_KEYEXCHANGE, &pair)));
  DWORD length = 0;
  ASSERT_EQ("true", Result(CryptExportKey(pair, 0, PUBLICKEYBLOB, 0, nullptr, &length)));
  std::vector<BYTE> blob(length);
  ASSERT_EQ("true", Result(CryptExportKey(pair, 0, PUBLICKEYBLOB, 0, blob.data(), &length)));

  std::atomic<int> failures{0};
  std::atomic<int> made{0};
  std::atomic<bool> running{true};
  std::vector<std::thread> threads;
  for (const HCRYPTPROV maker : {makers[0], makers[1]}) {
    threads.emplace_back([&, maker] {
      while (running) failures += UsePublicKeys(maker, blob, 1), ++made;
    });
  }
  threads.emplace_back([&] {
    while (running) failures += UseSessionKeys(makers[2], 1);
  });
  std::vector<std::thread> acquirers;
  for (int number = 0; number < 4; ++number) {
    acquirers.emplace_back([&failures] {
      for (int round = 0; round < 25; ++round) {
        HCRYPTPROV handle = 0;
        if (!AcquireOn("one", &handle) || CryptReleaseContext(handle, 0) == FALSE) ++failures;
      }
    });
  }
  for (std::thread& thread : acquirers) thread.join();
  running = false;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
  EXPECT_GT(made, 10);
  for (const HCRYPTPROV maker : makers) CryptReleaseContext(maker, 0);
}

}  // namespace
