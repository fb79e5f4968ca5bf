// What the watcher of one reader does: the body that waits in PC/SC and the one that polls the module.
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <map>

#include "context/UnplugThread.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/LogFile.h"
#include "module/ScriptedModule.h"
#include "pin/PINCacheManager.h"
#include "platform/ScriptedWinSCard.h"

namespace {

constexpr DWORD kSuccess = 0;
constexpr DWORD kChanged = 0x02;
constexpr DWORD kEmpty = 0x10;
constexpr DWORD kPresent = 0x20;

// The reader is named after the test, because the whole process shares the PIN caches.
class UnplugThreadTest : public LogTest {
 protected:
  UnplugThreadTest()
      : m_reader(::testing::UnitTest::GetInstance()->current_test_info()->name()),
        m_module(boost::make_shared<ScriptedModule>()) {}

  // The cache that a login left behind.
  boost::shared_ptr<CTELVOPINCache> LoggedIn() {
    const auto cache = g_pinCacheManager.GetPINCache(m_reader, "0123456789ABCDEF");
    cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
    TakeLog();
    return cache;
  }

  // What looking up the reader's cache logs.
  std::string CacheFound() const {
    return Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", m_reader) +
           Line("PINCache search loop - entry") + Value("Reader Name (cache): ", m_reader) +
           Line("PINCacheManager::GetPINCache - EXIT");
  }
  std::string NoCacheFound() const {
    return Line("PINCacheManager::GetPINCache - ENTER") + Value("Reader Name: ", m_reader) +
           Line("PINCache search loop - entry") + Line("PINCache search loop - exit") +
           Line("PINCacheManager::GetPINCache - EXIT");
  }

  const std::string m_reader;
  boost::shared_ptr<ScriptedModule> m_module;
};

// --- The body that waits in PC/SC

class WatchReaderTest : public UnplugThreadTest {
 protected:
  // Runs the body with waits that end as given, and a last wait after them. Returns the calls that it made.
  struct End {
    DWORD result;
    DWORD event;
  };
  std::vector<std::string> Watch(const std::vector<End>& ends) {
    UnplugThread thread(m_reader, 0, m_module, 1);
    SCARDCONTEXT context = 0;
    m_pcsc.EstablishContext(0, &context);
    m_pcsc.TakeCalls();
    for (const End& end : ends) m_pcsc.AnswerNextWait(m_reader, end.result, end.event);
    m_pcsc.AnswerNextWait(m_reader, static_cast<DWORD>(SCARD_E_CANCELLED), 0, [&] { thread.AskToStop(); });
    EXPECT_EQ(0u, thread.WatchReader());
    m_log = TakeLog();
    return m_pcsc.TakeCalls();
  }

  std::string Wait(const char* currentState) const {
    return "SCardGetStatusChangeA(1, INFINITE, " + m_reader + " " + currentState + ")";
  }
  using Waits = std::vector<std::string>;

  ScriptedWinSCard m_pcsc;
  std::string m_log;  // of the body
};

TEST_F(WatchReaderTest, WithoutAContextTheBodyEndsAtOnce) {
  UnplugThread thread(m_reader, 0, m_module, 0);
  EXPECT_EQ(Code(NTE_INVALID_HANDLE), thread.WatchReader());
  EXPECT_EQ("", TakeLog());
  EXPECT_EQ(Waits{}, m_pcsc.TakeCalls());
}

TEST_F(WatchReaderTest, WaitsWithoutATimeLimitWhileTheCardIsPresent) {
  EXPECT_EQ(Waits{Wait("00000020")}, Watch({}));
  EXPECT_EQ("", m_log);
}

TEST_F(WatchReaderTest, PausesBeforeEachWait) {
  const auto start = std::chrono::steady_clock::now();
  Watch({{kSuccess, kPresent | kChanged}});
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(390));
}

TEST_F(WatchReaderTest, ARemovalClearsTheCacheOfItsReader) {
  const auto cache = LoggedIn();
  EXPECT_EQ((Waits{Wait("00000020"), Wait("00000012")}), Watch({{kSuccess, kEmpty | kChanged}}));
  EXPECT_EQ(Line("\nCard was removed") + CacheFound() + Line("\nClearing PIN Cache"), m_log);
  EXPECT_EQ(0, cache->IsPINSet());
}

TEST_F(WatchReaderTest, ARemovalIsReportedOnce) {
  const auto cache = LoggedIn();
  EXPECT_EQ((Waits{Wait("00000020"), Wait("00020012"), Wait("00030022")}),
            Watch({{kSuccess, 0x00020000 | kEmpty | kChanged}, {kSuccess, 0x00030000 | kPresent | kChanged}}));
  EXPECT_EQ(Line("\nCard was removed") + CacheFound() + Line("\nClearing PIN Cache"), m_log);
}

TEST_F(WatchReaderTest, EachRemovalIsReported) {
  const auto cache = LoggedIn();
  Watch({{kSuccess, kEmpty | kChanged}, {kSuccess, kPresent | kChanged}, {kSuccess, kEmpty | kChanged}});
  const std::string removal = Line("\nCard was removed") + CacheFound() + Line("\nClearing PIN Cache");
  EXPECT_EQ(removal + removal, m_log);
}

TEST_F(WatchReaderTest, WithoutALoginOnlyTheRemovalIsLogged) {
  Watch({{kSuccess, kEmpty | kChanged}});
  EXPECT_EQ(Line("\nCard was removed") + NoCacheFound(), m_log);
}

TEST_F(WatchReaderTest, AnInsertedCardChangesNothing) {
  const auto cache = LoggedIn();
  EXPECT_EQ((Waits{Wait("00000020"), Wait("00010122")}), Watch({{kSuccess, 0x00010000 | 0x122}}));
  EXPECT_EQ("", m_log);
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(WatchReaderTest, AReturnWithoutAChangeCountsAsRemoval) {
  const auto cache = LoggedIn();
  EXPECT_EQ((Waits{Wait("00000020"), Wait("00000020")}), Watch({{kSuccess, kPresent}}));
  EXPECT_EQ(Line("\nCard was removed") + CacheFound() + Line("\nClearing PIN Cache"), m_log);
  EXPECT_EQ(0, cache->IsPINSet());
}

TEST_F(WatchReaderTest, UnpluggingTheLastReaderCountsAsRemoval) {
  const auto cache = LoggedIn();
  EXPECT_EQ((Waits{Wait("00000020"), Wait("00000022")}),
            Watch({{Code(SCARD_E_NO_READERS_AVAILABLE), kPresent | kChanged}}));
  EXPECT_EQ(Line("\nCard was removed") + CacheFound() + Line("\nClearing PIN Cache"), m_log);
  EXPECT_EQ(0, cache->IsPINSet());
}

TEST_F(WatchReaderTest, UnpluggingOneOfSeveralReadersIsLoggedAndClearsNothing) {
  const auto cache = LoggedIn();
  EXPECT_EQ(
      (Waits{Wait("00000020"), Wait("00000020"), Wait("00000020")}),
      Watch({{Code(SCARD_E_UNKNOWN_READER), kEmpty | kChanged}, {Code(SCARD_E_UNKNOWN_READER), kEmpty | kChanged}}));
  const std::string failure = Line("Reader was unplugged") + Value("SCardGetStatusChange: ", "80100009");
  EXPECT_EQ(failure + failure, m_log);
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(WatchReaderTest, AnErrorCodeIsLoggedWithEightDigits) {
  Watch({{0x6, 0}});
  EXPECT_EQ(Line("Reader was unplugged") + Value("SCardGetStatusChange: ", "00000006"), m_log);
}

TEST_F(WatchReaderTest, AnotherReadersCacheStays) {
  const auto other = g_pinCacheManager.GetPINCache(m_reader + " B", "0123456789ABCDEF");
  other->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
  const auto cache = LoggedIn();
  Watch({{kSuccess, kEmpty | kChanged}});
  EXPECT_EQ(0, cache->IsPINSet());
  EXPECT_EQ(1, other->IsPINSet());
}

// --- The body that polls the module

class PollSlotsTest : public UnplugThreadTest {
 protected:
  PollSlotsTest() : m_thread(m_reader, 0, m_module, 0) {}

  // Runs the body. Before the n-th C_GetSlotList, counted from 1, actions[n] runs. With the last action the body is
  // also asked to stop.
  Calls Poll(std::map<int, std::function<void()>> actions) {
    m_actions = std::move(actions);
    OnNextList();
    EXPECT_EQ(0u, m_thread.PollSlots());
    m_log = TakeLog();
    return m_module->TakeCalls();
  }

  const std::string m_started = Line("Unplug thread started!\n");
  const std::string m_round = Line("Unplug thread running...\n");
  const std::string m_noList = Line("Failed to get slot list, restarting loop.\n");
  const std::string m_stopped = Line("Unplug thread stopped!\n");
  std::string m_log;  // of the body

 private:
  void OnNextList() {
    m_module->BeforeNext("C_GetSlotList", [this] {
      OnNextList();
      ++m_lists;
      const auto action = m_actions.find(m_lists);
      if (action == m_actions.end()) return;
      if (action->second) action->second();
      if (m_lists == m_actions.rbegin()->first) m_thread.AskToStop();
    });
  }

  UnplugThread m_thread;
  std::map<int, std::function<void()>> m_actions;
  int m_lists = 0;
};

TEST_F(PollSlotsTest, ACardThatStaysIsCountedAgainInEachRound) {
  m_module->InsertToken(m_reader);
  EXPECT_EQ(
      (Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)"}),
      Poll({{3, {}}}));
  EXPECT_EQ(m_started + m_round + m_round + m_round + m_stopped, m_log);
}

TEST_F(PollSlotsTest, ABodyThatIsStoppedBeforeItStartsMakesNoCall) {
  UnplugThread thread(m_reader, 0, m_module, 0);
  thread.AskToStop();
  EXPECT_EQ(0u, thread.PollSlots());
  EXPECT_EQ(m_started + m_stopped, TakeLog());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(PollSlotsTest, AfterAFailedCountTheLoopGoesOn) {
  m_module->FailNext("C_GetSlotList", CKR_FUNCTION_FAILED);
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)"}), Poll({{2, {}}}));
  EXPECT_EQ(m_started + m_round + m_noList + m_round + m_stopped, m_log);
}

TEST_F(PollSlotsTest, ARemovalClearsTheCache) {
  const auto cache = LoggedIn();
  m_module->InsertToken("Another reader");
  m_module->InsertToken(m_reader);
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)",
                   "C_GetSlotList(with token, room 1)", "C_GetSlotInfo(0)"}),
            Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {3, {}}}));
  EXPECT_EQ(m_started + m_round + m_round + CacheFound() + Line("\nClearing PIN Cache") + m_stopped, m_log);
  EXPECT_EQ(0, cache->IsPINSet());
}

TEST_F(PollSlotsTest, RemovingTheOnlyTokenClearsTheCache) {
  const auto cache = LoggedIn();
  m_module->InsertToken(m_reader);
  Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {3, {}}});
  EXPECT_EQ(m_started + m_round + m_round + CacheFound() + Line("\nClearing PIN Cache") + m_stopped, m_log);
  EXPECT_EQ(0, cache->IsPINSet());
}

TEST_F(PollSlotsTest, WithoutALoginARemovalClearsNothing) {
  m_module->InsertToken(m_reader);
  Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {3, {}}});
  EXPECT_EQ(m_started + m_round + m_round + NoCacheFound() + m_stopped, m_log);
}

TEST_F(PollSlotsTest, AfterARemovalTheCacheIsClearedInEachFurtherRound) {
  const auto cache = LoggedIn();
  m_module->InsertToken(m_reader);
  Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {5, {}}});
  const std::string clearing = m_round + CacheFound() + Line("\nClearing PIN Cache");
  EXPECT_EQ(m_started + m_round + clearing + clearing + m_stopped, m_log);
}

TEST_F(PollSlotsTest, ATokenThatComesBackEndsTheClearing) {
  const auto cache = LoggedIn();
  m_module->InsertToken(m_reader);
  Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {4, [this] { m_module->InsertToken(m_reader); }}, {5, {}}});
  EXPECT_EQ(m_started + m_round + m_round + CacheFound() + Line("\nClearing PIN Cache") + m_round + m_round + m_stopped,
            m_log);
}

TEST_F(PollSlotsTest, AnotherReadersRemovalLeavesTheCache) {
  const auto cache = LoggedIn();
  m_module->InsertToken("Another reader");
  m_module->InsertToken(m_reader);
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)",
                   "C_GetSlotList(with token, room 1)", "C_GetSlotInfo(1)"}),
            Poll({{2, [this] { m_module->RemoveToken("Another reader"); }}, {3, {}}}));
  EXPECT_EQ(m_started + m_round + m_round + m_stopped, m_log);
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(PollSlotsTest, AfterAFailedListTheLoopGoesOnWithoutClearing) {
  const auto cache = LoggedIn();
  m_module->InsertToken(m_reader);
  m_module->FailOnCall("C_GetSlotList", 3, CKR_FUNCTION_FAILED);
  Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {3, {}}});
  EXPECT_EQ(m_started + m_round + m_round + m_noList + m_stopped, m_log);
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(PollSlotsTest, ASlotWhoseInformationFailsIsLoggedAndPassedOver) {
  const auto cache = LoggedIn();
  m_module->InsertToken("Another reader");
  m_module->InsertToken("A third reader");
  m_module->InsertToken(m_reader);
  m_module->FailNext("C_GetSlotInfo", CKR_DEVICE_ERROR);
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)",
                   "C_GetSlotList(with token, room 2)", "C_GetSlotInfo(1)", "C_GetSlotInfo(2)"}),
            Poll({{2, [this] { m_module->RemoveToken("Another reader"); }}, {3, {}}}));
  EXPECT_EQ(m_started + m_round + m_round + Value("Failed to get slot info on slot ", "1") + m_stopped, m_log);
  EXPECT_EQ(1, cache->IsPINSet());
}

TEST_F(PollSlotsTest, ASlotWithoutADescriptionIsLoggedWithTheLastError) {
  const auto cache = LoggedIn();
  m_module->InsertToken(std::string(1, '\0'));
  m_module->InsertToken(m_reader);
  Poll({{2, [this] { m_module->RemoveToken(m_reader); }}, {3, [] { SetLastError(0x459); }}});
  EXPECT_EQ(m_started + m_round + m_round + Value("Failed to convert UTF8 string. Code ", "459") + CacheFound() +
                Line("\nClearing PIN Cache") + m_stopped,
            m_log);
}

TEST_F(PollSlotsTest, ADescriptionOfAll64BytesIsCompared) {
  m_module->InsertToken("Another reader");
  m_module->InsertToken(m_reader);
  const std::string longName(64, 'R');
  m_module->InsertToken(longName);
  UnplugThread thread(longName, 0, m_module, 0);
  m_module->BeforeNext("C_GetSlotList", [&] {
    m_module->BeforeNext("C_GetSlotList", [&] {
      m_module->RemoveToken("Another reader");
      thread.AskToStop();
    });
  });
  thread.PollSlots();
  EXPECT_EQ(m_started + m_round + m_round + m_stopped, TakeLog());
}

TEST_F(PollSlotsTest, AnAbsurdCountOfSlotsIsAFailure) {
  CK_ULONG count = 200002;
  m_module->falsifyCount = [&](const std::string&, CK_ULONG& reported) { reported = --count; };
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, null)"}), Poll({{2, {}}}));
  EXPECT_EQ(m_started + m_round + m_round + m_noList + m_stopped, m_log);
}

TEST_F(PollSlotsTest, WithoutAModuleThereIsNoList) {
  UnplugThread thread(m_reader, 0, boost::shared_ptr<CryptokiInterface>(), 0);
  thread.Start(&UnplugThread::PollSlots);
  while (TakeLog().find(m_noList) == std::string::npos) Sleep(1);
  thread.AskToStop();
}

}  // namespace
