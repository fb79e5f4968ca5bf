// The wrapper of the module's function table, with the real loader and a module that passes its calls to a
// scripted one.
#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <tuple>

#include "cryptoki/CryptokiFunctions.h"
#include "fixtures/Expect.h"
#include "module/CrowdCounter.h"
#include "module/LoadedModule.h"
#include "module/ScriptedModule.h"

namespace {

class CryptokiFunctionsTest : public ::testing::Test {
 protected:
  CryptokiFunctionsTest() : m_loaded(m_module), m_functions("telvopkcs11.dll") {}

  // A session on a token, opened through the functions.
  CK_SESSION_HANDLE OpenSession() {
    m_module.InsertToken("Reader");
    m_functions.Load();
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(CKR_OK, m_functions.C_OpenSession(0, 6, nullptr, nullptr, &session));
    m_module.ForgetCalls();
    return session;
  }

  // Calls an entry with zeros and null pointers.
  template <typename... Parameters>
  CK_RV CallWithZeros(CK_RV (CryptokiFunctions::*entry)(Parameters...)) {
    return (m_functions.*entry)(Parameters{}...);
  }

  ScriptedModule m_module;
  LoadedModule m_loaded;
  CryptokiFunctions m_functions;
  CK_UTF8CHAR m_pin[4] = {'1', '2', '3', '4'};
};

TEST_F(CryptokiFunctionsTest, TheNameIsKept) { EXPECT_EQ("telvopkcs11.dll", m_functions.GetModuleName()); }

TEST_F(CryptokiFunctionsTest, WithoutATableStandardWrappersReturnNotInitializedAndMakeNoCall) {
  g_lastResult = CKR_OK;
#define ENTRY(name, params, args) EXPECT_EQ(CK_RV{0x190}, CallWithZeros(&CryptokiFunctions::name)) << #name;
#include "cryptoki/CryptokiEntries.inc"
  EXPECT_EQ(CK_RV{0x190}, g_lastResult);
  EXPECT_EQ(Calls{}, m_module.TakeCalls());
}

TEST_F(CryptokiFunctionsTest, WithoutATableTheLoginsReturnNotInitialized) {
  EXPECT_EQ(CK_RV{0x190}, m_functions.C_Login(1, CKU_USER, m_pin, 4));
  EXPECT_EQ(CK_RV{0x190}, m_functions.C_LoginExtended(1, CKU_USER, m_pin, 4));
}

TEST_F(CryptokiFunctionsTest, AWrapperPassesItsArgumentsOnAndKeepsTheResult) {
  const CK_SESSION_HANDLE session = OpenSession();
  m_module.FailNext("C_GenerateRandom", CKR_RANDOM_NO_RNG);
  CK_BYTE random[5] = {};
  EXPECT_EQ(CKR_RANDOM_NO_RNG, m_functions.C_GenerateRandom(session, random, 5));
  EXPECT_EQ(CKR_RANDOM_NO_RNG, g_lastResult);
  EXPECT_EQ(Calls{"C_GenerateRandom(1, room 5)"}, m_module.TakeCalls());
  EXPECT_EQ(CKR_OK, m_functions.C_GenerateRandom(session, random, 5));
  EXPECT_EQ(CKR_OK, g_lastResult);
  EXPECT_EQ(5, random[4]);
}

// Records the name of the last entry that was called. Every call returns CKR_FUNCTION_CANCELED.
class NameKeeper : public CryptokiInterface {
 public:
  NameKeeper() : CryptokiInterface("names") {}

  void Unload() override {}
  void Load() override {}
  void Reinitialize() override {}

  template <typename... Arguments>
  CK_RV Keep(const char* name, const Arguments&...) {
    last = name;
    return CKR_FUNCTION_CANCELED;
  }

#define ENTRY(name, params, args) \
  CK_RV name params override { return Keep(#name, std::make_tuple args); }
#include "cryptoki/CryptokiEntries.inc"

  CK_RV C_LoginExtended(CK_SESSION_HANDLE, CK_USER_TYPE, CK_UTF8CHAR_PTR, CK_ULONG) override {
    return Keep("C_LoginExtended");
  }

  std::string last;
};

TEST_F(CryptokiFunctionsTest, EveryEntryReachesTheEntryOfItsName) {
  NameKeeper keeper;
  const LoadedModule loaded(keeper);
  m_functions.Load();
#define ENTRY(name, params, args)                                                     \
  EXPECT_EQ(CKR_FUNCTION_CANCELED, CallWithZeros(&CryptokiFunctions::name)) << #name; \
  EXPECT_EQ(#name, keeper.last);
#include "cryptoki/CryptokiEntries.inc"
  EXPECT_EQ(CKR_FUNCTION_CANCELED, m_functions.C_LoginExtended(0, 0, nullptr, 0));
  EXPECT_EQ("C_LoginExtended", keeper.last);
}

TEST_F(CryptokiFunctionsTest, OnlyOneThreadAtATimeCallsAnyEntryOfTheModule) {
  CrowdCounter crowd;
  const LoadedModule loaded(crowd);
  m_functions.Load();
  std::atomic<int> ready{0};
  const auto callAll = [&] {
    ++ready;
    while (ready < 3) std::this_thread::yield();
#define ENTRY(name, params, args) CallWithZeros(&CryptokiFunctions::name);
#define ENTRY_OWN(name, params, args)
#include "cryptoki/CryptokiEntries.inc"
    CallWithZeros(&CryptokiFunctions::C_Login);
    CallWithZeros(&CryptokiFunctions::C_LoginExtended);
  };
  std::thread first(callAll);
  std::thread second(callAll);
  callAll();
  first.join();
  second.join();
  EXPECT_FALSE(crowd.met);
  // 66 entries, the two logins, and the logout before each login.
  EXPECT_EQ(3 * (66 + 4), crowd.calls);
}

// Waits in C_WaitForSlotEvent until C_GetInfo was called.
class PatientModule : public ScriptedModule {
 public:
  CK_RV C_WaitForSlotEvent(CK_FLAGS, CK_SLOT_ID_PTR, CK_VOID_PTR) override {
    waits.set_value();
    return m_asked.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready ? CKR_OK : CKR_NO_EVENT;
  }
  CK_RV C_GetInfo(CK_INFO_PTR) override {
    m_asked.set_value();
    return CKR_OK;
  }

  std::promise<void> waits;

 private:
  std::promise<void> m_asked;
};

TEST_F(CryptokiFunctionsTest, OtherCallsDoNotWaitForTheCallThatWaitsForACard) {
  PatientModule patient;
  const LoadedModule loaded(patient);
  m_functions.Load();
  auto waiting = std::async(std::launch::async, [&] { return m_functions.C_WaitForSlotEvent(0, nullptr, nullptr); });
  patient.waits.get_future().get();
  EXPECT_EQ(CKR_OK, m_functions.C_GetInfo(nullptr));
  EXPECT_EQ(CKR_OK, waiting.get());
}

TEST_F(CryptokiFunctionsTest, BothLoginsLogOutFirstAndIgnoreTheResult) {
  const CK_SESSION_HANDLE session = OpenSession();
  EXPECT_EQ(CKR_OK, m_functions.C_Login(session, CKU_USER, m_pin, 4));
  EXPECT_EQ((Calls{"C_Logout(1)", "C_Login(1, user 1, 1234)"}), m_module.TakeCalls());
  m_module.FailNext("C_Logout", CKR_GENERAL_ERROR);
  EXPECT_EQ(CKR_USER_ALREADY_LOGGED_IN, m_functions.C_LoginExtended(session, CKU_USER, m_pin, 4));
  EXPECT_EQ(CKR_USER_ALREADY_LOGGED_IN, g_lastResult);
  EXPECT_EQ((Calls{"C_Logout(1)", "C_LoginExtended(1, user 1, 1234)"}), m_module.TakeCalls());
}

TEST_F(CryptokiFunctionsTest, LoadTwiceLoadsOnce) {
  m_functions.Load();
  m_loaded.SetFunctionListResult(CKR_GENERAL_ERROR);
  m_functions.Load();
  EXPECT_EQ(CKR_OK, m_functions.C_Initialize(nullptr));
}

TEST_F(CryptokiFunctionsTest, AMissingLibraryIsAGeneralError) {
  CryptokiFunctions missing("telvonosuchlibrary.dll");
  EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, missing.Load());
  EXPECT_EQ(CK_RV{0x190}, missing.C_Initialize(nullptr));
}

TEST_F(CryptokiFunctionsTest, ALibraryWithoutTheSymbolStaysLoadedAndALaterLoadReturnsAtOnce) {
  {
    CryptokiFunctions plain("telvoplain.dll");
    EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, plain.Load());
    EXPECT_TRUE(IsLibraryLoaded("telvoplain.dll"));
    EXPECT_NO_THROW(plain.Load());
    EXPECT_EQ(CK_RV{0x190}, plain.C_Initialize(nullptr));
  }
  EXPECT_FALSE(IsLibraryLoaded("telvoplain.dll"));
}

TEST_F(CryptokiFunctionsTest, AFailingFunctionListReleasesTheLibraryWithoutThrowing) {
  m_loaded.SetFunctionListResult(CKR_FUNCTION_FAILED);
  EXPECT_NO_THROW(m_functions.Load());
  EXPECT_EQ(CK_RV{0x190}, m_functions.C_Initialize(nullptr));
  m_loaded.LetGo();
  EXPECT_FALSE(IsLibraryLoaded("telvopkcs11.dll"));
}

TEST_F(CryptokiFunctionsTest, UnloadFinalisesAndReleases) {
  m_functions.Load();
  m_functions.C_Initialize(nullptr);
  m_module.ForgetCalls();
  m_functions.Unload();
  EXPECT_EQ(Calls{"C_Finalize(null)"}, m_module.TakeCalls());
  EXPECT_EQ(CK_RV{0x190}, m_functions.C_Initialize(nullptr));
  m_functions.Unload();
  EXPECT_EQ(Calls{}, m_module.TakeCalls());
  m_loaded.LetGo();
  EXPECT_FALSE(IsLibraryLoaded("telvopkcs11.dll"));
}

TEST_F(CryptokiFunctionsTest, UnloadWithoutATableReleasesTheLibraryAndFinalisesNothing) {
  CryptokiFunctions plain("telvoplain.dll");
  EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, plain.Load());
  g_lastResult = CKR_OK;
  plain.Unload();
  EXPECT_EQ(CKR_OK, g_lastResult);
  EXPECT_FALSE(IsLibraryLoaded("telvoplain.dll"));
  // It no longer counts as loaded.
  EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, plain.Load());
}

TEST_F(CryptokiFunctionsTest, DestructionReleasesTheLibraryWithoutFinalising) {
  {
    CryptokiFunctions functions("telvopkcs11.dll");
    functions.Load();
    functions.C_Initialize(nullptr);
    m_module.ForgetCalls();
  }
  EXPECT_EQ(Calls{}, m_module.TakeCalls());
  m_loaded.LetGo();
  EXPECT_FALSE(IsLibraryLoaded("telvopkcs11.dll"));
}

TEST_F(CryptokiFunctionsTest, ReinitializeMakesItsThreeCallsAndIgnoresTheirResults) {
  OpenSession();
  m_module.FailNext("C_Finalize", CKR_GENERAL_ERROR);
  m_module.FailNext("C_Initialize", CKR_GENERAL_ERROR);
  m_module.FailNext("C_GetSlotList", CKR_GENERAL_ERROR);
  EXPECT_NO_THROW(m_functions.Reinitialize());
  EXPECT_EQ((Calls{"C_Finalize(null)", "C_Initialize(null)", "C_GetSlotList(all, null)"}), m_module.TakeCalls());
}

}  // namespace
