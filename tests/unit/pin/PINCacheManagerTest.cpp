#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "fixtures/LogFile.h"
#include "pin/PINCacheManager.h"

namespace {

class PINCacheManagerTest : public LogTest {
 protected:
  static void Store(CTELVOPINCache& cache) { cache.SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4); }

  PINCacheManager m_manager;
};

TEST_F(PINCacheManagerTest, AnUnknownReaderHasNoCacheAndGetsNone) {
  EXPECT_FALSE(m_manager.GetPINCache("Reader A"));
  const std::string none = Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", "Reader A") +
                           Line("PINCache search loop - entry") + Line("PINCache search loop - exit") +
                           Line("PINCacheManager::GetPINCache - EXIT");
  EXPECT_EQ(none, TakeLog());
  EXPECT_FALSE(m_manager.GetPINCache("Reader A"));
}

TEST_F(PINCacheManagerTest, TheFirstLoginOfACardCreatesAnEmptyCache) {
  const auto cache = m_manager.GetPINCache("Reader A", "0123");
  ASSERT_TRUE(cache);
  EXPECT_EQ(0, cache->IsPINSet());
  EXPECT_EQ(Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", "Reader A") +
                Value("Serial Number: ", "0123") + Line("PINCache search loop - entry") +
                Line("PINCache search loop - exit") + Value("cache reader name: ", "Reader A") +
                Value("cache serial number: ", "0123") + Line("PINCacheManager::GetPINCache - EXIT"),
            TakeLog());
}

TEST_F(PINCacheManagerTest, TheSameCardFindsItsCacheAndLogsNoExitLine) {
  const auto cache = m_manager.GetPINCache("Reader A", "0123");
  Store(*cache);
  TakeLog();
  EXPECT_EQ(cache, m_manager.GetPINCache("Reader A", "0123"));
  EXPECT_EQ(Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", "Reader A") +
                Value("Serial Number: ", "0123") + Line("PINCache search loop - entry") +
                Value("Reader Name (cache): ", "Reader A") + Value("Serial number (cache): ", "0123"),
            TakeLog());
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(PINCacheManagerTest, TheWatcherFindsTheCacheByReaderAlone) {
  const auto cache = m_manager.GetPINCache("Reader A", "0123");
  TakeLog();
  EXPECT_EQ(cache, m_manager.GetPINCache("Reader A"));
  EXPECT_EQ(Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", "Reader A") +
                Line("PINCache search loop - entry") + Value("Reader Name (cache): ", "Reader A") +
                Line("PINCacheManager::GetPINCache - EXIT"),
            TakeLog());
}

TEST_F(PINCacheManagerTest, AnotherSerialNumberInAReaderReplacesTheOldCache) {
  const auto old = m_manager.GetPINCache("Reader A", "0123");
  Store(*old);
  TakeLog();
  const auto fresh = m_manager.GetPINCache("Reader A", "4567");
  EXPECT_EQ(Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", "Reader A") +
                Value("Serial Number: ", "4567") + Line("PINCache search loop - entry") +
                Value("Reader Name (cache): ", "Reader A") +
                Line("Reader found, but serial associated is different. Clearing cache.") +
                Line("PINCache search loop - exit") + Value("cache reader name: ", "Reader A") +
                Value("cache serial number: ", "4567") + Line("PINCacheManager::GetPINCache - EXIT"),
            TakeLog());
  EXPECT_NE(old, fresh);
  EXPECT_EQ(0, fresh->IsPINSet());
  EXPECT_EQ(fresh, m_manager.GetPINCache("Reader A"));
  EXPECT_EQ(1, old.use_count());
  EXPECT_EQ(1, old->IsPINSet());
}

TEST_F(PINCacheManagerTest, ACardThatReturnsAfterAnotherOneGetsAnEmptyCache) {
  const auto first = m_manager.GetPINCache("Reader A", "0123");
  Store(*first);
  m_manager.GetPINCache("Reader A", "4567");
  EXPECT_EQ(0, m_manager.GetPINCache("Reader A", "0123")->IsPINSet());
}

TEST_F(PINCacheManagerTest, AClearedCacheKeepsItsEntry) {
  const auto cache = m_manager.GetPINCache("Reader A", "0123");
  Store(*cache);
  m_manager.GetPINCache("Reader A")->ClearPINCache();
  EXPECT_EQ(0, cache->IsPINSet());
  EXPECT_EQ(cache, m_manager.GetPINCache("Reader A", "0123"));
}

TEST_F(PINCacheManagerTest, ReaderNamesAreCaseSensitive) {
  const auto upper = m_manager.GetPINCache("Reader A", "0123");
  EXPECT_NE(upper, m_manager.GetPINCache("reader a", "0123"));
  EXPECT_FALSE(m_manager.GetPINCache("Reader"));
  EXPECT_EQ(upper, m_manager.GetPINCache("Reader A"));
}

TEST_F(PINCacheManagerTest, EachReaderHasItsOwnCache) {
  const auto first = m_manager.GetPINCache("Reader A", "0123");
  const auto second = m_manager.GetPINCache("Reader B", "0123");
  EXPECT_NE(first, second);
  m_manager.GetPINCache("Reader A", "4567");
  EXPECT_EQ(second, m_manager.GetPINCache("Reader B", "0123"));
}

TEST_F(PINCacheManagerTest, ACacheOutlivesTheManagerWhileItIsReferenced) {
  boost::shared_ptr<CTELVOPINCache> cache;
  {
    PINCacheManager manager;
    cache = manager.GetPINCache("Reader A", "0123");
    Store(*cache);
  }
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(PINCacheManagerTest, TheProcessHasOneManager) { EXPECT_FALSE(g_pinCacheManager.GetPINCache("no such reader")); }

TEST(PINCacheManagerThreadsTest, AWatcherClearsWhileContextsLogIn) {
  const TestRegistry registry;
  PINCacheManager manager;
  constexpr int kRounds = 500;
  const auto login = [&](const std::string& reader) {
    for (int i = 0; i < kRounds; ++i) {
      const auto cache = manager.GetPINCache(reader, i % 5 == 0 ? "0123" : "4567");
      cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
      BYTE pin[4] = {};
      DWORD length = 4;
      cache->GetPINCache(pin, &length);
    }
  };
  std::thread first(login, "Reader A");
  std::thread second(login, "Reader B");
  for (int i = 0; i < kRounds; ++i) {
    const auto cache = manager.GetPINCache("Reader A");
    if (cache) cache->ClearPINCache();
  }
  first.join();
  second.join();
  EXPECT_TRUE(manager.GetPINCache("Reader A"));
  EXPECT_TRUE(manager.GetPINCache("Reader B"));
}

}  // namespace
