#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <thread>
#include <typeinfo>
#include <vector>

#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/SecretKeyTest.h"
#include "objects/C3DESKey.h"
#include "objects/C3DES_112Key.h"
#include "objects/CAES_128Key.h"
#include "objects/CDESKey.h"

namespace {

// The first number of the generator seeded with that second.
DWORD IDOf(unsigned second) {
  std::srand(second);
  return static_cast<DWORD>(std::rand()) % 0xFFFFFF;
}

class CCSPSecretKeyFactoryTest : public SecretKeyTest {
 protected:
  template <typename Key>
  void ExpectMade(ALG_ID algorithm) {
    const auto key = Make(algorithm, 7);
    const CCSPSecretKey& made = *key;
    EXPECT_TRUE(typeid(made) == typeid(Key)) << algorithm;
    EXPECT_EQ(algorithm, key->GetAlgID());
    EXPECT_EQ(7U, key->GetObjectHandle());
  }
};

// --- Making

TEST_F(CCSPSecretKeyFactoryTest, FourAlgorithmsHaveAClass) {
  ExpectMade<CDESKey>(0x6601);
  ExpectMade<C3DESKey>(0x6603);
  ExpectMade<C3DES_112Key>(0x6609);
  ExpectMade<CAES_128Key>(0x660E);
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPSecretKeyFactoryTest, Aes256IsRefused) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Invalid Secret Key Algorithm ID", Make(0x6610, 1));
}

TEST_F(CCSPSecretKeyFactoryTest, OtherAlgorithmsAreRefused) {
  // AES-192, AES, RC2, SHA-1, RSA for exchange
  for (const ALG_ID algorithm : {0x660FU, 0x6611U, 0x6602U, 0x8004U, 0xA400U, 0U}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Invalid Secret Key Algorithm ID", Make(algorithm, 1));
  }
  EXPECT_EQ(0U, m_factory.Count());
}

TEST_F(CCSPSecretKeyFactoryTest, WithoutASessionNoKeyIsMadeForAnyAlgorithm) {
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Session should be defined in creating a secret key",
                       m_factory.CreateSecretKey(CALG_DES, nullptr, 1));
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Session should be defined in creating a secret key",
                       m_factory.CreateSecretKey(0x6610, nullptr, 1));
  EXPECT_EQ(0U, m_factory.Count());
}

TEST(KeyTypeFromAlgIDTest, FourAlgorithmsHaveAKeyType) {
  EXPECT_EQ(CK_KEY_TYPE{0x13}, KeyTypeFromAlgID(0x6601));
  EXPECT_EQ(CK_KEY_TYPE{0x15}, KeyTypeFromAlgID(0x6603));
  EXPECT_EQ(CK_KEY_TYPE{0x14}, KeyTypeFromAlgID(0x6609));
  EXPECT_EQ(CK_KEY_TYPE{0x1F}, KeyTypeFromAlgID(0x660E));
}

TEST(KeyTypeFromAlgIDTest, OtherAlgorithmsAreRefused) {
  for (const ALG_ID algorithm : {0x660FU, 0x6610U, 0x6611U, 0x6602U, 0x8004U, 0U}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Invalid Secret Key Algorithm ID", KeyTypeFromAlgID(algorithm));
  }
}

TEST_F(CCSPSecretKeyFactoryTest, AKeyIsNotTheFactorysRecordAndOutlivesIt) {
  auto key = Make(CALG_DES, MakeObject());
  EXPECT_EQ(1, key.use_count());
  m_factory.DestroySecretKey(key->GetKeyID());
  key->SetMode(CRYPT_MODE_CBC);
  EXPECT_EQ(64U, key->GetModeBits());
}

// --- Ids

TEST_F(CCSPSecretKeyFactoryTest, TheIDIsTheFirstNumberOfTheGeneratorSeededWithTheSecond) {
  m_clock.Set(12345);
  EXPECT_EQ(IDOf(12345), Make(CALG_DES, 1)->GetKeyID());
  m_clock.Set(23456);
  EXPECT_EQ(IDOf(23456), Make(CALG_DES, 1)->GetKeyID());
  EXPECT_EQ(0U, m_clock.Slept());
}

TEST_F(CCSPSecretKeyFactoryTest, AnotherKeyInTheSameSecondWaitsForTheNextSecond) {
  m_clock.Set(12345);
  Make(CALG_DES, 1);
  EXPECT_EQ(IDOf(12346), Make(CALG_AES_128, 2)->GetKeyID());
  EXPECT_EQ(50U, m_clock.Slept());
}

TEST_F(CCSPSecretKeyFactoryTest, AfterTheClockIsSetBackAKeyWaitsForAnUnusedID) {
  m_clock.Set(12345);
  Make(CALG_DES, 1);
  Make(CALG_DES, 1);
  m_clock.Set(12345);
  EXPECT_EQ(IDOf(12347), Make(CALG_DES, 1)->GetKeyID());
}

TEST_F(CCSPSecretKeyFactoryTest, OnAStoppedClockTheNextFreeIDIsTakenAfterThreeSeconds) {
  m_clock.Set(12345);
  m_clock.StandStill();
  Make(CALG_DES, 1);
  EXPECT_EQ(0U, m_clock.Slept());
  EXPECT_EQ(IDOf(12345) + 1, Make(CALG_DES, 1)->GetKeyID());
  EXPECT_EQ(3000U, m_clock.Slept());
  EXPECT_EQ(IDOf(12345) + 2, Make(CALG_DES, 1)->GetKeyID());
  EXPECT_EQ(3U, m_factory.Count());
}

TEST_F(CCSPSecretKeyFactoryTest, WhileAKeyWaitsForItsIDOthersCanBeDestroyed) {
  DWORD id = 0;
  CCSPSecretKeyFactory* factory = nullptr;
  CCSPSecretKeyFactory waiting(g_secretKeyLog,
                               {[] { return std::time_t{12345}; }, [&](DWORD) { factory->DestroySecretKey(id); }});
  factory = &waiting;
  id = waiting.CreateSecretKey(CALG_DES, m_session.get(), 1)->GetKeyID();
  EXPECT_EQ(id, waiting.CreateSecretKey(CALG_DES, m_session.get(), 2)->GetKeyID());
  EXPECT_EQ(1U, waiting.Count());
  EXPECT_EQ(Calls{"C_DestroyObject(1, 1)"}, m_module->TakeCalls());
}

TEST_F(CCSPSecretKeyFactoryTest, TheSystemClockReturnsTheCurrentTime) {
  const auto clock = CCSPSecretKeyFactory::SystemClock();
  const std::time_t before = std::time(nullptr);
  const std::time_t now = clock.now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, std::time(nullptr));
  clock.sleep(0);
}

// --- Destroying

TEST_F(CCSPSecretKeyFactoryTest, AnUnknownIDIsIgnored) {
  const DWORD id = Make(CALG_DES, MakeObject())->GetKeyID();
  m_factory.DestroySecretKey(id + 1);
  EXPECT_EQ(1U, m_factory.Count());
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPSecretKeyFactoryTest, DestroyingAKeyDestroysItsTokenObject) {
  MakeObject();
  const DWORD other = Make(CALG_DES, 1)->GetKeyID();
  const DWORD id = Make(CALG_DES, MakeObject())->GetKeyID();
  m_factory.DestroySecretKey(id);
  EXPECT_EQ(Calls{"C_DestroyObject(1, 2)"}, m_module->TakeCalls());
  EXPECT_EQ(1U, m_token.objects.count(1));
  EXPECT_EQ(1U, m_factory.Count());
  m_factory.DestroySecretKey(id);
  EXPECT_EQ(Calls(), m_module->TakeCalls());
  m_factory.DestroySecretKey(other);
  EXPECT_EQ(0U, m_factory.Count());
}

TEST_F(CCSPSecretKeyFactoryTest, AKeyIsForgottenEvenIfItsTokenObjectIsAlreadyDestroyed) {
  const auto key = Make(CALG_DES, MakeObject());
  key->DestroyObject();
  m_factory.DestroySecretKey(key->GetKeyID());
  EXPECT_EQ((Calls{"C_DestroyObject(1, 1)", "C_DestroyObject(1, 1)"}), m_module->TakeCalls());
  EXPECT_EQ(0U, m_factory.Count());
}

TEST_F(CCSPSecretKeyFactoryTest, WithoutItsSessionAKeyIsForgottenAndTheTokenIsNotCalled) {
  const DWORD id = Make(CALG_DES, MakeObject())->GetKeyID();
  m_session.reset();
  m_factory.DestroySecretKey(id);
  EXPECT_EQ(0U, m_factory.Count());
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPSecretKeyFactoryTest, AnExceptionThatIsNotACryptokiErrorLeavesTheRecord) {
  const DWORD id = Make(CALG_DES, MakeObject())->GetKeyID();
  m_module->BeforeNext("C_DestroyObject", [] { throw std::runtime_error("no memory"); });
  EXPECT_THROW(m_factory.DestroySecretKey(id), std::runtime_error);
  EXPECT_EQ(1U, m_factory.Count());
  m_factory.DestroySecretKey(id);
  EXPECT_EQ(0U, m_factory.Count());
}

// --- The log

TEST_F(CCSPSecretKeyFactoryTest, ItsConstructionIsLogged) {
  const CCSPSecretKeyFactory factory;
  EXPECT_EQ(Line("CCSPSecretKeyFactory Ctor - Enter") + Line("CCSPSecretKeyFactory Ctor - Exit"), TakeLog());
}

TEST_F(CCSPSecretKeyFactoryTest, KeysAreNotLogged) {
  TakeLog();
  const auto key = Make(CALG_DES, MakeObject());
  key->SetMode(CRYPT_MODE_CBC);
  BYTE value[8] = {};
  DWORD length = 8;
  key->GetKeyValue(value, &length);
  key->Encrypt(value, 8, value, &length);
  key->Decrypt(value, 8, value, &length);
  m_factory.DestroySecretKey(key->GetKeyID());
  EXPECT_EQ("", TakeLog());
}

// --- Threads

TEST_F(CCSPSecretKeyFactoryTest, ThreadsMakeUseAndDestroyKeysWhileAnotherCounts) {
  constexpr std::size_t kThreads = 4;
  constexpr int kRounds = 100;
  const CK_OBJECT_HANDLE object = MakeObject();
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  std::vector<std::vector<DWORD>> ids(kThreads);
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      for (int round = 0; round < kRounds; ++round) {
        // The token has no object 99, so destroying that key leaves `object`.
        const auto gone = Make(CALG_DES, 99);
        const auto kept = Make(CALG_AES_128, object);
        kept->SetMode(CRYPT_MODE_CBC);
        DWORD length = 0;
        kept->GetIV(nullptr, &length);
        if (length != 16 || gone->GetKeyID() == kept->GetKeyID()) ++failures;
        m_factory.DestroySecretKey(gone->GetKeyID());
        ids[number].push_back(kept->GetKeyID());
      }
    });
  }
  // Count is the only call with which this thread takes the lock, so nothing else orders it after the others.
  std::size_t most = 0;
  threads.emplace_back([this, &most] {
    for (int round = 0; round < 200; ++round) most = std::max(most, m_factory.Count());
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
  EXPECT_LE(most, 404U);
  EXPECT_EQ(400U, m_factory.Count());
  std::set<DWORD> all;
  for (const auto& some : ids) all.insert(some.begin(), some.end());
  EXPECT_EQ(400U, all.size());
}

TEST_F(CCSPSecretKeyFactoryTest, TwoThreadsThatDestroyOneKeyForgetItOnce) {
  for (int round = 0; round < 50; ++round) {
    const DWORD id = Make(CALG_DES, MakeObject())->GetKeyID();
    std::thread other([&] { m_factory.DestroySecretKey(id); });
    m_factory.DestroySecretKey(id);
    other.join();
    EXPECT_EQ(0U, m_factory.Count());
  }
  EXPECT_TRUE(m_token.objects.empty());
}

}  // namespace
