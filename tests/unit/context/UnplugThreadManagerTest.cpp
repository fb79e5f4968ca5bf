// The watchers of all readers: when one starts, and how they end.
#include <boost/make_shared.hpp>
#include <chrono>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "context/UnplugThreadManager.h"
#include "fixtures/LogFile.h"
#include "module/ScriptedModule.h"
#include "pin/PINCacheManager.h"
#include "platform/ScriptedWinSCard.h"

namespace {

using SCardCalls = std::vector<std::string>;

constexpr char kReaderA[] = "TELVO Reader A";
constexpr char kReaderB[] = "TELVO Reader B";

class UnplugThreadManagerTest : public LogTest {
 protected:
  UnplugThreadManagerTest() : m_module(boost::make_shared<ScriptedModule>()) {
    m_pcsc.InsertCard(kReaderA);
    m_pcsc.InsertCard(kReaderB);
  }

  void Add(const char* reader) { m_manager->AddUnplugThread(reader, 0, m_module); }
  // Adds a reader. Its thread waits when this returns.
  void AddAndAwait(const char* reader) {
    Add(reader);
    ASSERT_TRUE(m_pcsc.AwaitWaits(reader, 1));
    TakeLog();
  }

  static std::chrono::milliseconds TimeOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  }

  ScriptedWinSCard m_pcsc;
  boost::shared_ptr<ScriptedModule> m_module;
  std::optional<UnplugThreadManager> m_manager;
};

// --- The system's version

OSVERSIONINFOA VersionOf(DWORD major, DWORD minor) {
  OSVERSIONINFOA version = {};
  version.dwMajorVersion = major;
  version.dwMinorVersion = minor;
  return version;
}

TEST(NeedsPollingTest, Version52Polls) { EXPECT_TRUE(NeedsPolling(TRUE, VersionOf(5, 2))); }

TEST(NeedsPollingTest, AVersionThatCannotBeReadPolls) { EXPECT_TRUE(NeedsPolling(FALSE, VersionOf(6, 1))); }

TEST(NeedsPollingTest, OtherVersionsWait) {
  for (const auto& version : {VersionOf(5, 1), VersionOf(5, 0), VersionOf(6, 2), VersionOf(6, 1), VersionOf(10, 0)}) {
    EXPECT_FALSE(NeedsPolling(TRUE, version)) << version.dwMajorVersion << "." << version.dwMinorVersion;
  }
}

// --- Start

TEST_F(UnplugThreadManagerTest, TheConstructorEstablishesOneUserContext) {
  m_manager.emplace();
  EXPECT_EQ(SCardCalls{"SCardEstablishContext(0)"}, m_pcsc.TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(UnplugThreadManagerTest, OnAPollingSystemNoContextIsEstablishedAndNothingIsStarted) {
  m_manager.emplace(true);
  Add(kReaderA);
  EXPECT_EQ(Line("\nAddUnplugThread "), TakeLog());
  m_manager.reset();
  EXPECT_EQ(Line("\n~UnplugThreadManager()"), TakeLog());
  EXPECT_EQ(SCardCalls{}, m_pcsc.TakeCalls());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(UnplugThreadManagerTest, WithoutTheServiceNothingIsStarted) {
  m_pcsc.FailNext("SCardEstablishContext", static_cast<DWORD>(SCARD_E_NO_SERVICE));
  m_manager.emplace();
  Add(kReaderA);
  EXPECT_EQ(Line("\nAddUnplugThread "), TakeLog());
  m_manager.reset();
  EXPECT_EQ(Line("\n~UnplugThreadManager()"), TakeLog());
  EXPECT_EQ(SCardCalls{"SCardEstablishContext(0)"}, m_pcsc.TakeCalls());
}

TEST_F(UnplugThreadManagerTest, TheGlobalManagerStartsNothingInTheseTests) {
  g_unplugThreadManager.AddUnplugThread(kReaderA, 0, m_module);
  EXPECT_EQ(Line("\nAddUnplugThread "), TakeLog());
}

// --- Watching

TEST_F(UnplugThreadManagerTest, AReaderGetsAThreadThatWaitsInTheSharedContext) {
  m_manager.emplace();
  Add(kReaderA);
  EXPECT_EQ(Line("\nAddUnplugThread ") + Line("\nRunning new thread"), TakeLog());
  ASSERT_TRUE(m_pcsc.AwaitWaits(kReaderA, 1));
  EXPECT_EQ((SCardCalls{"SCardEstablishContext(0)", "SCardGetStatusChangeA(1, INFINITE, TELVO Reader A 00000020)"}),
            m_pcsc.TakeCalls());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(UnplugThreadManagerTest, ASecondContextOnTheReaderStartsNoSecondThread) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  Add(kReaderA);
  EXPECT_EQ(Line("\nAddUnplugThread ") + Line("\nAddUnplugThread Loop ") +
                Line("\nA thread for this reader is already running"),
            TakeLog());
  Sleep(300);
  EXPECT_EQ(1, m_pcsc.WaitsBegun(kReaderA));
}

TEST_F(UnplugThreadManagerTest, EachReaderThatIsComparedIsLogged) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  Add(kReaderB);
  EXPECT_EQ(Line("\nAddUnplugThread ") + Line("\nAddUnplugThread Loop ") + Line("\nRunning new thread"), TakeLog());
  Add(kReaderB);
  EXPECT_EQ(Line("\nAddUnplugThread ") + Line("\nAddUnplugThread Loop ") + Line("\nAddUnplugThread Loop ") +
                Line("\nA thread for this reader is already running"),
            TakeLog());
  EXPECT_TRUE(m_pcsc.AwaitWaits(kReaderB, 1));
}

TEST_F(UnplugThreadManagerTest, ReaderNamesAreComparedExactly) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  Add("telvo reader a");
  EXPECT_EQ(Line("\nAddUnplugThread ") + Line("\nAddUnplugThread Loop ") + Line("\nRunning new thread"), TakeLog());
}

TEST_F(UnplugThreadManagerTest, TheThreadSurvivesARemovalAndWatchesTheNextCard) {
  const auto cache = g_pinCacheManager.GetPINCache(kReaderA, "0123456789ABCDEF");
  const auto storePin = [&] { cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4); };
  m_manager.emplace();
  storePin();
  AddAndAwait(kReaderA);
  m_pcsc.RemoveCard(kReaderA);
  ASSERT_TRUE(m_pcsc.AwaitWaits(kReaderA, 2));
  EXPECT_EQ(0, cache->IsPINSet());
  m_pcsc.InsertCard(kReaderA);
  ASSERT_TRUE(m_pcsc.AwaitWaits(kReaderA, 3));
  storePin();
  m_pcsc.RemoveCard(kReaderA);
  ASSERT_TRUE(m_pcsc.AwaitWaits(kReaderA, 4));
  EXPECT_EQ(0, cache->IsPINSet());
}

TEST_F(UnplugThreadManagerTest, SimultaneousContextsOnAReaderStartOneThread) {
  m_registry.SetText(kProductKey, "CSPLOG", "0");  // the lock of the log would order the callers
  RestartLogs();
  m_manager.emplace();
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) callers.emplace_back([this] { Add(kReaderA); });
  for (std::thread& caller : callers) caller.join();
  Sleep(300);
  EXPECT_EQ(1, m_pcsc.WaitsBegun(kReaderA));
}

// Of interest under a thread sanitizer.
TEST_F(UnplugThreadManagerTest, RemovalsAndLoginsMayHappenAtTheSameTime) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  std::atomic<bool> stop{false};
  std::thread user([&] {
    while (!stop) {
      const auto cache = g_pinCacheManager.GetPINCache(kReaderA, "0123456789ABCDEF");
      cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
      BYTE pin[4] = {};
      DWORD length = sizeof(pin);
      cache->GetPINCache(pin, &length);
    }
  });
  m_pcsc.RemoveCard(kReaderA);
  EXPECT_TRUE(m_pcsc.AwaitWaits(kReaderA, 2));
  stop = true;
  user.join();
}

// --- Shutdown

TEST_F(UnplugThreadManagerTest, ThreadsAreCancelledAndEndBeforeTheManagerIsDestroyed) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  m_pcsc.TakeCalls();
  EXPECT_LT(TimeOf([this] { m_manager.reset(); }), std::chrono::milliseconds(400));
  EXPECT_EQ((SCardCalls{"SCardCancel(1)", "SCardReleaseContext(1)"}), m_pcsc.TakeCalls());
  EXPECT_EQ(Line("\n~UnplugThreadManager()") + Line("Unplug Thread deleted"), TakeLog());
  EXPECT_EQ(1, m_pcsc.WaitsOver(kReaderA));
}

TEST_F(UnplugThreadManagerTest, TheSharedContextIsCancelledAndReleasedOnceForEachThread) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  AddAndAwait(kReaderB);
  m_pcsc.TakeCalls();
  m_manager.reset();
  EXPECT_EQ((SCardCalls{"SCardCancel(1)", "SCardReleaseContext(1)", "SCardCancel(1)", "SCardReleaseContext(1)"}),
            m_pcsc.TakeCallsButWaits());
  // The wait of the second thread may be cancelled before that thread is asked to stop.
  EXPECT_EQ(0u, TakeLog().find(Line("\n~UnplugThreadManager()")));
}

TEST_F(UnplugThreadManagerTest, WithoutAThreadTheContextIsReleased) {
  m_manager.emplace();
  m_pcsc.TakeCalls();
  m_manager.reset();
  EXPECT_EQ(SCardCalls{"SCardReleaseContext(1)"}, m_pcsc.TakeCalls());
  EXPECT_EQ(Line("\n~UnplugThreadManager()"), TakeLog());
}

TEST_F(UnplugThreadManagerTest, AThreadThatJustStartedIsWaitedFor) {
  m_manager.emplace();
  Add(kReaderA);
  EXPECT_LT(TimeOf([this] { m_manager.reset(); }), std::chrono::milliseconds(450));
  Sleep(300);
  EXPECT_EQ(m_pcsc.WaitsBegun(kReaderA), m_pcsc.WaitsOver(kReaderA));
}

TEST_F(UnplugThreadManagerTest, AThreadThatDoesNotEndIsTerminatedAfterHalfASecond) {
  m_pcsc.IgnoreCancelOn(kReaderA, 800);
  m_manager.emplace();
  Add(kReaderA);
  while (m_pcsc.WaitsBegun(kReaderA) == 0) Sleep(1);
  const auto time = TimeOf([this] { m_manager.reset(); });
  EXPECT_GE(time, std::chrono::milliseconds(490));
  EXPECT_LT(time, std::chrono::milliseconds(750));
  Sleep(400);  // the wait would have returned by now
  EXPECT_EQ(0, m_pcsc.WaitsOver(kReaderA));
}

TEST_F(UnplugThreadManagerTest, TheManagerReleasesTheModule) {
  m_manager.emplace();
  AddAndAwait(kReaderA);
  EXPECT_EQ(2, m_module.use_count());
  m_manager.reset();
  EXPECT_EQ(1, m_module.use_count());
}

}  // namespace
