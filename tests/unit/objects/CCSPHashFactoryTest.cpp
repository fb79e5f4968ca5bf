#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <typeinfo>
#include <vector>

#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/HashTest.h"
#include "objects/Algorithms.h"
#include "objects/CCSPHashFactory.h"
#include "objects/SHA1MD5Hash.h"

namespace {

class CCSPHashFactoryTest : public HashTest {
 protected:
  void ExpectMade(ALG_ID algorithm, const char* name, DWORD length) {
    const auto hash = Make(algorithm);
    EXPECT_EQ(algorithm, hash->GetAlgID());
    EXPECT_EQ(name, *hash->GetName());
    EXPECT_EQ(length, hash->GetHashLength());
    EXPECT_EQ(0U, hash->IsFinished());
    EXPECT_EQ(m_session, hash->GetSession());
    const auto& made = *hash;
    EXPECT_TRUE(typeid(made) == (algorithm == CALG_SSL3_SHAMD5 ? typeid(SHA1MD5Hash) : typeid(TELVOCSPHash)));
  }
};

TEST_F(CCSPHashFactoryTest, FiveAlgorithmsHash) {
  ExpectMade(CALG_MD5, "MD5", 16);
  ExpectMade(CALG_SHA1, "SHA-1", 20);
  ExpectMade(CALG_SSL3_SHAMD5, "SSL3-SHAMD5", 36);
  ExpectMade(CALG_SHA_256, "SHA 256", 32);
  ExpectMade(CALG_SHA_512, "SHA 512", 64);
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPHashFactoryTest, ThreeHashNamesDifferFromTheirAlgorithmNames) {
  EXPECT_STREQ("SHA-256", FindAlgorithm(CALG_SHA_256)->name);
  EXPECT_EQ("SHA 256", *Make(CALG_SHA_256)->GetName());
  EXPECT_STREQ("SHA-512", FindAlgorithm(CALG_SHA_512)->name);
  EXPECT_EQ("SHA 512", *Make(CALG_SHA_512)->GetName());
  EXPECT_STREQ("SSL3 SHAMD5", FindAlgorithm(CALG_SSL3_SHAMD5)->name);
  EXPECT_EQ("SSL3-SHAMD5", *Make(CALG_SSL3_SHAMD5)->GetName());
}

TEST_F(CCSPHashFactoryTest, AnAlgorithmOutsideTheTableIsNotFound) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Algorithm not found", Make(CALG_SHA_384));
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Algorithm not found", Make(0));
}

TEST_F(CCSPHashFactoryTest, AnAlgorithmThatDoesNotHashIsInvalid) {
  for (const ALG_ID id : {0x2400U, 0xA400U, 0x6601U, 0x6603U, 0x6609U, 0x660EU}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Invalid Hash Algorithm ID", Make(id));
  }
  EXPECT_EQ(0U, m_factory.Count());
}

TEST_F(CCSPHashFactoryTest, WithoutASessionTheGeneratorIsNotUsed) {
  std::srand(5);
  const int expected = std::rand();
  std::srand(5);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Session should be defined in creating a hash",
                       m_factory.CreateHash(CALG_SHA1, nullptr));
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Session should be defined in creating a hash",
                       m_factory.CreateHash(CALG_SHA_384, nullptr));
  EXPECT_EQ(expected, std::rand());
}

TEST_F(CCSPHashFactoryTest, TheIDIsTheFirstNumberAfterReseeding) {
  std::srand(5);
  const auto seed = static_cast<unsigned>(static_cast<std::uint64_t>(std::rand()) %
                                          reinterpret_cast<std::uintptr_t>(m_session.get()));
  std::srand(seed);
  const DWORD expected = static_cast<DWORD>(std::rand() % 0xFFFFFF);
  std::srand(5);
  EXPECT_EQ(expected, Make(CALG_SHA1)->GetHashID());
  // A taken ID is generated again, without reseeding.
  std::srand(seed);
  std::rand();
  const DWORD next = static_cast<DWORD>(std::rand() % 0xFFFFFF);
  std::srand(5);
  EXPECT_EQ(next, Make(CALG_SHA1)->GetHashID());
}

TEST_F(CCSPHashFactoryTest, ADuplicateIsTheSourceItselfAndTheFactoryCountsOneMore) {
  const auto source = MakeOf(CALG_SHA1, "ab");
  const DWORD id = source->GetHashID();
  const auto duplicate = m_factory.DuplicateHash(source);
  EXPECT_EQ(source, duplicate);
  EXPECT_EQ(id, duplicate->GetHashID());
  EXPECT_EQ(2U, m_factory.Count());
  Add(*duplicate, "c");
  EXPECT_EQ(Text("abc"), DataOf(*source));
}

TEST_F(CCSPHashFactoryTest, AHashWithoutItsSessionIsNotDuplicated) {
  const auto source = Make(CALG_SHA1);
  m_session.reset();
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Session should be defined in creating a hash", m_factory.DuplicateHash(source));
}

TEST_F(CCSPHashFactoryTest, ADestroyedHashIsForgottenButLivesWhileItIsReferenced) {
  auto hash = MakeOf(CALG_SHA1, "abc");
  const auto other = Make(CALG_SHA1);
  m_factory.DestroyHash(hash);
  EXPECT_EQ(1U, m_factory.Count());
  EXPECT_EQ(1, hash.use_count());
  EXPECT_EQ(2, other.use_count());
  m_factory.DestroyHash(hash);
  EXPECT_EQ(1U, m_factory.Count());
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*hash));
}

TEST_F(CCSPHashFactoryTest, OnlyTheFactorysOwnObjectIsDestroyed) {
  const auto hash = Make(CALG_SHA1);
  CCSPHashFactory other;
  other.DestroyHash(hash);
  m_factory.DestroyHash(boost::make_shared<TELVOCSPHash>(static_cast<const TELVOCSPHash&>(*hash)));
  EXPECT_EQ(1U, m_factory.Count());
}

TEST_F(CCSPHashFactoryTest, FortyFiveThousandUndestroyedHashesHaveDifferentIDs) {
  std::set<DWORD> ids;
  std::vector<boost::shared_ptr<CCSPHash>> hashes;
  for (int i = 0; i < 45000; ++i) {
    hashes.push_back(Make(CALG_SHA1));
    ids.insert(hashes.back()->GetHashID());
  }
  EXPECT_EQ(45000U, ids.size());
  // From then on the smallest free ID is taken.
  DWORD smallest = 0;
  while (ids.count(smallest) != 0) ++smallest;
  EXPECT_EQ(smallest, Make(CALG_SHA1)->GetHashID());
  const DWORD freed = hashes[777]->GetHashID();
  m_factory.DestroyHash(hashes[777]);
  EXPECT_EQ(std::min(freed, smallest + 1), std::min(Make(CALG_SHA1)->GetHashID(), smallest + 1));
}

TEST_F(CCSPHashFactoryTest, ThreadsMakeAndDestroyHashesWhileAnotherCounts) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int round = 0; round < 200; ++round) {
        const auto hash = Make(CALG_SHA1);
        Make(CALG_MD5);
        m_factory.DestroyHash(hash);
      }
    });
  }
  // Count is the only call with which this thread takes the lock, so nothing else orders it after the others.
  std::size_t most = 0;
  threads.emplace_back([this, &most] {
    for (int round = 0; round < 200; ++round) most = std::max(most, m_factory.Count());
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(most, 804U);
  EXPECT_EQ(800U, m_factory.Count());
}

}  // namespace
