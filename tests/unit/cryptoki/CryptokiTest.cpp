// The module as a whole: its start, its record, its slots.
#include <atomic>
#include <boost/make_shared.hpp>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

#include "cryptoki/Cryptoki.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/CrowdCounter.h"
#include "module/ScriptedModule.h"

namespace {

class CryptokiTest : public ::testing::Test {
 protected:
  CryptokiTest() : m_module(boost::make_shared<ScriptedModule>()), m_cryptoki(m_module) {}

  static std::vector<std::string> Texts(const std::list<Slot>& slots) {
    std::vector<std::string> texts;
    for (const Slot& slot : slots) texts.emplace_back(slot.GetSlotDescription().c_str());
    return texts;
  }

  using Names = std::vector<std::string>;

  boost::shared_ptr<ScriptedModule> m_module;
  TELVOCryptoki m_cryptoki;
};

TEST_F(CryptokiTest, ItCannotBeConstructedWithoutAModule) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, TELVOCryptoki(boost::shared_ptr<CryptokiInterface>()));
}

TEST_F(CryptokiTest, ReturnsTheModule) { EXPECT_EQ(m_module, m_cryptoki.GetCryptoki()); }

TEST_F(CryptokiTest, SettingANullModuleIsRefusedAndChangesNothing) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_cryptoki.SetCryptoki(nullptr));
  EXPECT_EQ(m_module, m_cryptoki.GetCryptoki());
}

TEST_F(CryptokiTest, InitializePassesNoArguments) {
  m_cryptoki.Initialize();
  EXPECT_EQ(Calls{"C_Initialize(null)"}, m_module->TakeCalls());
  EXPECT_EQ(CKR_OK, m_cryptoki.GetLastResult());
}

TEST_F(CryptokiTest, AModuleThatIsAlreadyInitializedIsNoFailure) {
  m_cryptoki.Initialize();
  EXPECT_NO_THROW(m_cryptoki.Initialize());
  EXPECT_EQ(CKR_CRYPTOKI_ALREADY_INITIALIZED, m_cryptoki.GetLastResult());
}

TEST_F(CryptokiTest, AnyOtherFailureToInitializeIsThrown) {
  m_module->FailNext("C_Initialize", CKR_HOST_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_HOST_MEMORY, m_cryptoki.Initialize());
  EXPECT_EQ(CKR_HOST_MEMORY, m_cryptoki.GetLastResult());
}

TEST_F(CryptokiTest, GetInfoDecodesTheRecord) {
  const CryptokiInfo info = m_cryptoki.GetInfo();
  EXPECT_EQ("2.20", info.cryptokiVersion.ToString());
  EXPECT_EQ("Scripted                        ", info.manufacturer);
  EXPECT_EQ("A module for tests              ", info.libraryDescription);
  EXPECT_EQ("1.7", info.libraryVersion.ToString());
  EXPECT_EQ(CK_FLAGS{0}, info.flags);
}

TEST_F(CryptokiTest, GetInfoThrowsTheModulesFailure) {
  m_module->FailNext("C_GetInfo", CKR_FUNCTION_FAILED);
  EXPECT_CRYPTOKI_ERROR(CKR_FUNCTION_FAILED, m_cryptoki.GetInfo());
  EXPECT_EQ(CKR_FUNCTION_FAILED, m_cryptoki.GetLastResult());
}

TEST_F(CryptokiTest, ActiveSlotsAreThoseWithATokenInTheModulesOrder) {
  m_module->InsertToken("Reader A");
  m_module->AddEmptyReader("Reader B");
  m_module->InsertToken("Reader C");
  const std::list<Slot> slots = m_cryptoki.GetActiveSlots();
  EXPECT_EQ((Names{"Reader A", "Reader C"}), Texts(slots));
  EXPECT_EQ(CK_SLOT_ID{2}, slots.back().GetSlotId());
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, room 2)", "C_GetSlotInfo(0)",
                   "C_GetSlotInfo(2)"}),
            m_module->TakeCalls());
}

TEST_F(CryptokiTest, EachSlotHasTheModuleAndSoHasItsToken) {
  m_module->InsertToken("Reader A");
  std::list<Slot> slots = m_cryptoki.GetActiveSlots();
  EXPECT_EQ(m_module, slots.front().GetCryptoki());
  EXPECT_EQ(m_module, slots.front().GetToken().GetCryptoki());
}

TEST_F(CryptokiTest, WithoutAnyTokenTheActiveListIsEmptiedByOneCall) {
  m_module->InsertToken("Reader A");
  m_cryptoki.GetActiveSlots();
  m_module->RemoveToken("Reader A");
  m_module->ForgetCalls();
  EXPECT_TRUE(m_cryptoki.GetActiveSlots().empty());
  EXPECT_TRUE(m_cryptoki.GetLastActiveSlots().empty());
  EXPECT_EQ(Calls{"C_GetSlotList(with token, null)"}, m_module->TakeCalls());
}

TEST_F(CryptokiTest, ATokenPulledBetweenCountAndListIsLeftOut) {
  m_module->InsertToken("Reader A");
  m_module->InsertToken("Reader B");
  m_module->falsifyCount = [this](const std::string& entry, CK_ULONG&) {
    if (entry == "C_GetSlotList") m_module->BeforeNext("C_GetSlotList", [this] { m_module->RemoveToken("Reader A"); });
  };
  EXPECT_EQ(Names{"Reader B"}, Texts(m_cryptoki.GetActiveSlots()));
}

TEST_F(CryptokiTest, ACountAboveTheAllocatedEntriesIsLimitedToThem) {
  m_module->InsertToken("Reader A");
  int calls = 0;
  m_module->falsifyCount = [&calls](const std::string&, CK_ULONG& count) {
    if (++calls == 2) count = 1000;
  };
  EXPECT_EQ(Names{"Reader A"}, Texts(m_cryptoki.GetActiveSlots()));
}

TEST_F(CryptokiTest, AnAbsurdCountIsAGeneralError) {
  m_module->falsifyCount = [](const std::string&, CK_ULONG& count) { count = 0xFFFFFFFF; };
  EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, m_cryptoki.GetActiveSlots());
}

TEST_F(CryptokiTest, AFailureBeforeTheListIsReadKeepsTheEarlierList) {
  m_module->InsertToken("Reader A");
  m_cryptoki.GetActiveSlots();
  m_module->FailNext("C_GetSlotList", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_cryptoki.GetActiveSlots());
  EXPECT_EQ(1U, m_cryptoki.GetLastActiveSlots().size());
  m_module->FailOnCall("C_GetSlotList", 2, CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_cryptoki.GetActiveSlots());
  EXPECT_EQ(1U, m_cryptoki.GetLastActiveSlots().size());
  EXPECT_EQ(CKR_DEVICE_ERROR, m_cryptoki.GetLastResult());
}

TEST_F(CryptokiTest, AFailureBetweenTwoSlotsKeepsTheSlotsReadBefore) {
  m_module->InsertToken("Reader A");
  m_module->InsertToken("Reader B");
  m_module->FailOnCall("C_GetSlotInfo", 2, CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_cryptoki.GetActiveSlots());
  EXPECT_EQ(Names{"Reader A"}, Texts(m_cryptoki.GetLastActiveSlots()));
}

TEST_F(CryptokiTest, AllSlotsHaveOnlyTheirIdsUntilTheyAreRead) {
  m_module->InsertToken("Reader A");
  m_module->AddEmptyReader("Reader B");
  std::list<Slot> slots = m_cryptoki.GetAllSlots();
  EXPECT_EQ((Calls{"C_GetSlotList(all, null)", "C_GetSlotList(all, room 2)"}), m_module->TakeCalls());
  EXPECT_EQ((Names{"", ""}), Texts(slots));
  EXPECT_TRUE(slots.front().IsTokenPresent());
  EXPECT_FALSE(slots.back().IsTokenPresent());
  EXPECT_EQ((Names{"Reader A", "Reader B"}), Texts(slots));
  EXPECT_EQ((Names{"", ""}), Texts(m_cryptoki.GetLastAllSlots()));
}

TEST_F(CryptokiTest, TheTwoListsAreKeptApart) {
  m_module->InsertToken("Reader A");
  m_module->AddEmptyReader("Reader B");
  m_cryptoki.GetAllSlots();
  m_cryptoki.GetActiveSlots();
  EXPECT_EQ(2U, m_cryptoki.GetLastAllSlots().size());
  EXPECT_EQ(1U, m_cryptoki.GetLastActiveSlots().size());
}

// All contexts share the object. Under ThreadSanitizer this shows that all calls may run concurrently.
TEST_F(CryptokiTest, ThreadsMayMakeAllCallsConcurrently) {
  m_module->InsertToken("Reader A");
  m_module->AddEmptyReader("Reader B");
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, &failures] {
      for (int round = 0; round < 50; ++round) {
        m_cryptoki.Initialize();
        if (m_cryptoki.GetInfo().manufacturer.empty()) ++failures;
        if (m_cryptoki.GetActiveSlots().size() != 1 || m_cryptoki.GetAllSlots().size() != 2) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
}

TEST_F(CryptokiTest, OnlyOneThreadAtATimeCallsTheModule) {
  const auto crowd = boost::make_shared<CrowdCounter>();
  TELVOCryptoki cryptoki(crowd);
  const std::function<void()> calls[] = {[&] { cryptoki.Initialize(); }, [&] { cryptoki.GetInfo(); },
                                         [&] { cryptoki.GetActiveSlots(); }};
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (const std::function<void()>& call : calls) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < 3) std::this_thread::yield();
      for (int round = 0; round < 20; ++round) call();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(crowd->met);
  EXPECT_EQ(60, crowd->calls);
}

class CryptokiLogTest : public LogTest {};

TEST_F(CryptokiLogTest, DestructionIsLogged) {
  { const TELVOCryptoki cryptoki(boost::make_shared<ScriptedModule>()); }
  EXPECT_EQ(Line("\n~Cryptoki"), TakeLog());
}

}  // namespace
