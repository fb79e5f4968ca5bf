// Logging in: the remembered PIN, the dialog, and the PIN of an application.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "cryptoki/LoginLock.h"
#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/OpenContext.h"
#include "log/Logs.h"
#include "module/WaitingLogin.h"
#include "pin/PINCacheManager.h"
#include "platform/IsTaken.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const char kSerial[] = "01 23 45 67 89 AB CD EF";

class ContextLoginTest : public ContextTest {
 protected:
  ContextLoginTest() : m_token(m_module.InsertToken("Reader A")) {}

  void Bind(DWORD flags = 0) {
    m_open.Initialize("\\\\.\\Reader A\\", flags, m_cryptoki, 1);
    m_module.ForgetCalls();
    TakeLog();
  }

  boost::shared_ptr<CTELVOPINCache> Cache() { return g_pinCacheManager.GetPINCache("Reader A", kSerial); }
  void CachePIN(const std::string& pin) {
    Cache()->SetPINCache(reinterpret_cast<const BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
  }
  std::string CachedPIN() {
    DWORD length = 0;
    Cache()->GetPINCache(nullptr, &length);
    std::string pin(length, ' ');
    Cache()->GetPINCache(reinterpret_cast<BYTE*>(pin.data()), &length);
    return pin;
  }
  void LoginWithPIN(const std::string& pin) {
    m_open.LoginWithPIN(reinterpret_cast<const BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
  }

  static std::string Opening() {
    return Line("\nInitializing PIN cache") + Value("cardSerial:\t", kSerial) + Value("strReaderName:\t", "Reader A") +
           Line("Retrieving PIN cache");
  }
  static std::string OpeningWithPIN() {
    return Line("Retrieving PIN cache") + Value("Card serial: ", kSerial) + Value("Reader name: ", "Reader A");
  }

  ScriptedToken& m_token;
  OpenContext m_open;
};

const char kNotInitialized[] = "The Smart Card is not properly initialized";
const char kSilentMessage[] = "User is not logged in, No PIN Cache found and the current context is Silent";
const char kCancelledMessage[] = "User Interface cancelled by user";

// --- The token

TEST_F(ContextLoginTest, ATokenThatIsNotInitialisedFailsBeforeTheCacheIsTouched) {
  m_token.flags = 0;
  Bind();
  CachePIN("1234");
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), kNotInitialized, m_open.Login());
  EXPECT_EQ(Line("\nInitializing PIN cache") + Value("cardSerial:\t", kSerial) + Value("strReaderName:\t", "Reader A") +
                Line("Token is not initialized"),
            TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextLoginTest, WhenTheTokenIsNotInitialisedASilentContextLogsThatItIsSilent) {
  m_token.flags = 0;
  Bind(0x40);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), kNotInitialized, m_open.Login());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Token is not initialized") + Line("CRYPT_SILENT is set")));
}

TEST_F(ContextLoginTest, AContextForVerificationCannotLogIn) {
  OpenContext context;
  context.Initialize(nullptr, 0xF0000000, m_cryptoki, 1);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), kNotInitialized, context.Login());
}

// --- The remembered PIN

TEST_F(ContextLoginTest, ARememberedPINLogsInSilently) {
  Bind();
  CachePIN("1234");
  m_open.Login();
  EXPECT_EQ(Opening() + Line("PIN Cache is set") + Line("Login") + Line("Log-in success"), TakeLog());
  EXPECT_EQ(Calls{"C_LoginExtended(1, user 1, 1234)"}, m_module.TakeCalls());
  EXPECT_TRUE(m_token.loggedIn);
}

TEST_F(ContextLoginTest, ALoginWithTheRememberedPINLeavesAPendingSignaturePending) {
  Bind();
  CachePIN("1234");
  m_open.m_signPending = 1;
  m_open.m_errFlags = 7;
  m_open.Login();
  EXPECT_EQ(1U, m_open.m_signPending);
  EXPECT_EQ(7U, m_open.m_errFlags);
}

TEST_F(ContextLoginTest, EachOperationLogsInAgain) {
  Bind();
  CachePIN("1234");
  m_open.Login();
  m_open.Login();
  EXPECT_EQ((Calls{"C_LoginExtended", "C_LoginExtended"}), m_module.TakeCallNames());
}

TEST_F(ContextLoginTest, AStalePINUsesUpOneTryAndTheUserIsAsked) {
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  Bind();
  CachePIN("9999");
  ScriptedDialogs dialogs;
  dialogs.OnNext(EnterPIN("1234"));
  m_open.Login();
  EXPECT_EQ((Calls{"C_LoginExtended", "C_LoginExtended"}), m_module.TakeCallNames());
  EXPECT_EQ("1234", CachedPIN());
  EXPECT_EQ(Opening() + Line("PIN Cache is set") + Line("Login") + Line("Error in logging in to card") + Opening() +
                Line("PIN Cache not found") + Line("Retrieving token name") +
                Value("Retrieved token name: ", "TELVO Token                     "),
            TakeLog());
}

TEST_F(ContextLoginTest, ASilentContextForgetsAStalePINAndFails) {
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  Bind(0x40);
  CachePIN("9999");
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT), kSilentMessage, m_open.Login());
  EXPECT_EQ(0, Cache()->IsPINSet());
  EXPECT_EQ(2U, m_token.triesLeft);
  EXPECT_EQ(Calls{"C_LoginExtended"}, m_module.TakeCallNames());
}

TEST_F(ContextLoginTest, ARefusedPINThatAnotherContextPutsBackIsNotTriedAgain) {
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  Bind(0x40);
  CachePIN("9999");
  // The other context waits until the PIN is forgotten, and stores it again.
  std::thread other;
  m_module.BeforeNext("C_LoginExtended", [&] {
    other = std::thread([this] {
      const auto cache = Cache();
      while (cache->IsPINSet() != 0) std::this_thread::yield();
      CachePIN("9999");
    });
  });
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT), kSilentMessage, m_open.Login());
  other.join();
  EXPECT_EQ(Calls{"C_LoginExtended"}, m_module.TakeCallNames());
}

TEST_F(ContextLoginTest, ALockedTokenKeepsTheRememberedPIN) {
  Bind();
  CachePIN("1234");
  m_module.FailNext("C_LoginExtended", CKR_PIN_LOCKED);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CHV_BLOCKED),
                       "The card cannot be accessed because the maximum number of PIN entry attempts has been reached",
                       m_open.Login());
  EXPECT_EQ("1234", CachedPIN());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Login") + Line("Error in logging in to card")));
}

TEST_F(ContextLoginTest, AnyOtherErrorIsNotAuthenticatedAndKeepsTheRememberedPIN) {
  Bind();
  CachePIN("1234");
  m_module.FailNext("C_LoginExtended", CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CARD_NOT_AUTHENTICATED), "Failed to authenticate to TELVO Card", m_open.Login());
  EXPECT_EQ("1234", CachedPIN());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Error in logging in to card") + Value(ErrorText(CKR_DEVICE_REMOVED), "32")));
}

TEST_F(ContextLoginTest, AResultThatCountsTheTriesLeftIsTreatedAsAnyOtherError) {
  Bind();
  CachePIN("9999");
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CARD_NOT_AUTHENTICATED), "Failed to authenticate to TELVO Card", m_open.Login());
  EXPECT_EQ("9999", CachedPIN());
}

TEST_F(ContextLoginTest, BeingAlreadyLoggedInCountsAsASuccess) {
  Bind();
  CachePIN("1234");
  m_module.FailNext("C_LoginExtended", CKR_USER_ALREADY_LOGGED_IN);
  m_open.Login();
  EXPECT_THAT(TakeLog(), EndsWith(Line("Error in logging in to card") + Line("User already logged in")));
}

// --- The dialog

TEST_F(ContextLoginTest, WithoutAPINTheUserIsAskedAndTheNextLoginIsSilent) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext([](ScriptedDialog& dialog) {
    EXPECT_EQ(119, dialog.GetResource());
    EXPECT_EQ("Enter PIN for TELVO Token                     ", dialog.GetTitle());
    EXPECT_EQ(8U, dialog.GetTextLimit(1002));
    EnterPIN("1234")(dialog);
  });
  m_open.Login();
  EXPECT_EQ(Opening() + Line("PIN Cache not found") + Line("Retrieving token name") +
                Value("Retrieved token name: ", "TELVO Token                     "),
            TakeLog());
  EXPECT_EQ("TELVO Token                     ", m_open.GetTokenName());
  EXPECT_TRUE(m_token.loggedIn);
  m_open.Login();
  EXPECT_EQ(1, dialogs.ShownCount());
}

TEST_F(ContextLoginTest, APINEnteredInOneContextIsUsedByAnother) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext(EnterPIN("1234"));
  m_open.Login();
  const auto second = Acquire("\\\\.\\Reader A\\", 0x40);
  second->Login();
  EXPECT_EQ(Calls{"C_LoginExtended(2, user 1, 1234)"}, m_module.TakeCalls());
}

TEST_F(ContextLoginTest, ASilentContextWithoutAPINFails) {
  Bind(0x40);
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT), kSilentMessage, m_open.Login());
  EXPECT_EQ(Opening() + Line("PIN Cache not found"), TakeLog());
}

TEST_F(ContextLoginTest, ACancelledDialogIsReportedAsCancelled) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  m_open.m_errFlags = 7;
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, m_open.Login());
  EXPECT_EQ(0U, m_open.m_errFlags);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextLoginTest, EveryOtherResultOfTheDialogCountsAsALogin) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext([](ScriptedDialog& dialog) { dialog.End(static_cast<INT_PTR>(Code(NTE_FAIL))); });
  dialogs.OnNext([](ScriptedDialog& dialog) { dialog.End(-1); });
  dialogs.OnNext([](ScriptedDialog& dialog) { dialog.End(1); });
  for (int i = 0; i < 3; ++i) {
    m_open.m_signPending = 1;
    m_open.Login();
    EXPECT_EQ(0U, m_open.m_signPending);
  }
}

TEST_F(ContextLoginTest, WithPINCacheSetToZeroBothCallsOfASignatureAskTheUser) {
  AddKeyPair(m_token, Text("one"));
  m_registry.SetText(kProductKey, "PINCACHE", "0");
  Bind();
  ScriptedDialogs dialogs;
  const Bytes data = Text("abc");
  const DWORD length = 3;
  Bytes signature(128);
  DWORD size = 128;
  dialogs.OnNext(EnterPIN("1234"));
  m_open.Sign(data.data(), &length, signature.data(), &size);
  EXPECT_EQ(1, dialogs.ShownCount());
  dialogs.OnNext(EnterPIN("1234"));
  m_open.Sign(data.data(), &length, nullptr, &size);
  EXPECT_EQ(2, dialogs.ShownCount());
}

TEST_F(ContextLoginTest, APINThatTheWatcherClearedIsAskedForAgain) {
  Bind();
  CachePIN("1234");
  m_open.Login();
  g_pinCacheManager.GetPINCache("Reader A")->ClearPINCache();
  ScriptedDialogs dialogs;
  dialogs.OnNext(EnterPIN("1234"));
  m_open.Login();
  EXPECT_EQ(1, dialogs.ShownCount());
}

TEST_F(ContextLoginTest, ASilentContextWorksFromTheCacheUntilTheWatcherClearsIt) {
  Bind(0x40);
  CachePIN("1234");
  m_open.Login();
  m_open.Login();
  g_pinCacheManager.GetPINCache("Reader A")->ClearPINCache();
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT), kSilentMessage, m_open.Login());
}

TEST_F(ContextLoginTest, WithoutASessionTheUserIsNotAsked) {
  // Every token was passed over, although this one returns its information.
  m_module.FailAlways("C_OpenSession", CKR_DEVICE_ERROR);
  m_open.Initialize("one", 0, m_cryptoki, 1);
  const ScriptedDialogs dialogs;
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "The context has no session", m_open.Login());
  EXPECT_EQ(0, dialogs.ShownCount());
}

// --- A cancelled signature. A signature marks the login that it makes.

class SignatureLoginTest : public ContextLoginTest {
 protected:
  void LoginToSign() {
    m_open.m_signPending = 1;
    m_open.Login();
  }
};

TEST_F(SignatureLoginTest, AfterACancelledLoginTheNextFailsSilentlyAndTheOneAfterThatAsks) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, LoginToSign());
  EXPECT_EQ(Code(SCARD_W_CANCELLED_BY_USER), m_open.m_errFlags);
  EXPECT_EQ(0U, m_open.m_signPending);
  EXPECT_EQ(Opening() + Line("PIN Cache not found") + Value("this->m_errFlags = ", "00000000") +
                Line("Retrieving token name") + Value("Retrieved token name: ", "TELVO Token                     "),
            TakeLog());

  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, LoginToSign());
  EXPECT_EQ(1, dialogs.ShownCount());
  EXPECT_EQ(0U, m_open.m_errFlags);
  EXPECT_EQ(0U, m_open.m_signPending);
  EXPECT_EQ(Opening() + Line("PIN Cache not found") + Value("this->m_errFlags = ", "8010006E"), TakeLog());

  dialogs.OnNext(EnterPIN("1234"));
  LoginToSign();
  EXPECT_EQ(2, dialogs.ShownCount());
  EXPECT_EQ(0U, m_open.m_errFlags);
}

TEST_F(SignatureLoginTest, ACancelledThirdLoginIsRememberedAgain) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  dialogs.OnNext(CancelDialog());
  for (int i = 0; i < 3; ++i) EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, LoginToSign());
  EXPECT_EQ(Code(SCARD_W_CANCELLED_BY_USER), m_open.m_errFlags);
  EXPECT_EQ(2, dialogs.ShownCount());
}

TEST_F(SignatureLoginTest, AnyBitOfTheCancelledCodeCountsAsCancelled) {
  Bind();
  m_open.m_errFlags = 2;
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, LoginToSign());
  m_open.m_errFlags = 1;
  ScriptedDialogs dialogs;
  dialogs.OnNext(EnterPIN("1234"));
  LoginToSign();
}

TEST_F(SignatureLoginTest, ACancelOutsideASignatureIsNotRemembered) {
  Bind();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, m_open.Login());
  EXPECT_EQ(0U, m_open.m_errFlags);
}

TEST_F(SignatureLoginTest, ACancelIsRememberedAfterASignatureLoggedInFromTheCache) {
  Bind();
  CachePIN("1234");
  LoginToSign();
  Cache()->ClearPINCache();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), kCancelledMessage, m_open.Login());
  EXPECT_EQ(Code(SCARD_W_CANCELLED_BY_USER), m_open.m_errFlags);
}

// --- The PIN of an application

TEST_F(ContextLoginTest, AnApplicationMustPassAPIN) {
  Bind();
  const BYTE pin = '1';
  EXPECT_CONTEXT_ERROR(Code(ERROR_INVALID_PARAMETER), "PIN and PIN Length should be present",
                       m_open.LoginWithPIN(nullptr, 4));
  EXPECT_EQ(Line("PIN and PIN length is not present"), TakeLog());
  EXPECT_CONTEXT_ERROR(Code(ERROR_INVALID_PARAMETER), "PIN and PIN Length should be present",
                       m_open.LoginWithPIN(&pin, 0));
}

TEST_F(ContextLoginTest, AnApplicationsPINLogsInAndIsRemembered) {
  Bind();
  LoginWithPIN("1234");
  EXPECT_EQ(OpeningWithPIN() + Line("Login") + Line("Login Successful. PIN Cache Set"), TakeLog());
  EXPECT_EQ(Calls{"C_LoginExtended(1, user 1, 1234)"}, m_module.TakeCalls());
  EXPECT_EQ("1234", CachedPIN());
}

TEST_F(ContextLoginTest, PassingTheRememberedPINMakesNoCall) {
  Bind();
  CachePIN("1234");
  LoginWithPIN("1234");
  EXPECT_EQ(OpeningWithPIN() + Line("PIN is set") + Line("Retrieving PIN length from cache") +
                Line("PIN length matched") + Line("Retrieving PIN cache") + Line("Login Successful."),
            TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextLoginTest, PassingTheRememberedPINSucceedsEvenWhenTheCardIsRemoved) {
  Bind();
  CachePIN("1234");
  m_module.RemoveToken("Reader A");
  LoginWithPIN("1234");
}

TEST_F(ContextLoginTest, ANewPINLogsOutAndInAndReplacesTheOldOne) {
  Bind();
  CachePIN("9999");
  LoginWithPIN("1234");
  EXPECT_EQ(OpeningWithPIN() + Line("PIN is set") + Line("Retrieving PIN length from cache") +
                Line("PIN length matched") + Line("Retrieving PIN cache") + Line("Logout") + Line("Login") +
                Line("Login Successful. PIN Cache Set"),
            TakeLog());
  EXPECT_EQ((Calls{"C_GetSessionInfo(1)", "C_LoginExtended(1, user 1, 1234)"}), m_module.TakeCalls());
  EXPECT_EQ("1234", CachedPIN());
}

TEST_F(ContextLoginTest, ANewPINOfAnotherLengthIsNotCompared) {
  Bind();
  CachePIN("99999");
  LoginWithPIN("1234");
  EXPECT_EQ(OpeningWithPIN() + Line("PIN is set") + Line("Retrieving PIN length from cache") + Line("Logout") +
                Line("Login") + Line("Login Successful. PIN Cache Set"),
            TakeLog());
}

TEST_F(ContextLoginTest, AFailingLogoutBeforeANewPINIsSwallowed) {
  Bind();
  CachePIN("9999");
  m_module.FailNext("C_GetSessionInfo", CKR_DEVICE_ERROR);
  LoginWithPIN("1234");
  EXPECT_EQ(OpeningWithPIN() + Line("PIN is set") + Line("Retrieving PIN length from cache") +
                Line("PIN length matched") + Line("Retrieving PIN cache") + Line("Logout") + Line("Login") +
                Line("Login Successful. PIN Cache Set"),
            TakeLog());
  EXPECT_EQ("1234", CachedPIN());
}

TEST_F(ContextLoginTest, TheCacheIsLookedUpAfterTheLinesThatAnnounceIt) {
  Bind();
  ListenTo(g_pinCacheLog);
  const std::string entry = Line("PINCacheManager::GetPINCache - ENTER");
  LoginWithPIN("1234");
  EXPECT_THAT(TakeLog(), StartsWith(OpeningWithPIN() + entry));
  m_open.Login();
  EXPECT_THAT(TakeLog(), StartsWith(Opening() + entry));
}

// --- Other threads

// A cache that checks, between the steps of its caller, whether another thread could lock it.
class LookingCache : public CTELVOPINCache {
 public:
  BYTE IsPINSet() const override {
    const BYTE set = CTELVOPINCache::IsPINSet();
    Look();
    return set;
  }
  void GetPINCache(BYTE* out, DWORD* length) override {
    CTELVOPINCache::GetPINCache(out, length);
    if (out == nullptr) Look();
  }

  static int looks;
  static int found;  // how often another thread could have locked it

 private:
  void Look() const {
    std::recursive_mutex& mutex = *Lock().mutex();
    ++looks;
    if (!IsTaken(mutex)) ++found;
  }
};
int LookingCache::looks = 0;
int LookingCache::found = 0;
static_assert(sizeof(LookingCache) == sizeof(CTELVOPINCache), "one replaces the other in place");

class LookingCacheTest : public ContextLoginTest {
 protected:
  LookingCacheTest() {
    Bind();
    CTELVOPINCache* const cache = Cache().get();
    cache->~CTELVOPINCache();
    new (cache) LookingCache();
    CachePIN("1234");
    LookingCache::looks = 0;
    LookingCache::found = 0;
  }
};

TEST_F(LookingCacheTest, NoOtherThreadLocksTheCacheWhileTheRememberedPINIsFetched) {
  m_open.Login();
  EXPECT_EQ(2, LookingCache::looks);
  EXPECT_EQ(0, LookingCache::found);
}

TEST_F(LookingCacheTest, NoOtherThreadLocksTheCacheWhileTheRememberedPINIsCompared) {
  LoginWithPIN("1234");
  EXPECT_EQ(2, LookingCache::looks);
  EXPECT_EQ(0, LookingCache::found);
}

TEST_F(ContextLoginTest, NoOtherThreadLogsTheTokenInOrOutDuringALoginWithAnApplicationsPIN) {
  Bind();
  WaitingLogin login(m_module, "C_LoginExtended");
  LoginWithPIN("1234");
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(ContextLoginTest, NoOtherThreadLogsTheTokenInOrOutDuringALoginWithTheRememberedPIN) {
  Bind();
  CachePIN("1234");
  WaitingLogin login(m_module, "C_LoginExtended");
  m_open.Login();
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(ContextLoginTest, NoOtherThreadLogsTheTokenInBetweenTheLogoutAndTheLoginWithANewPIN) {
  Bind();
  CachePIN("9999");
  WaitingLogin login(m_module, "C_GetSessionInfo");
  LoginWithPIN("1234");
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(ContextLoginTest, NoOtherThreadLogsTheTokenInDuringALogout) {
  Bind();
  WaitingLogin login(m_module, "C_GetSessionInfo");
  m_open.Logout();
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(ContextLoginTest, OtherThreadsMayLogInWhileTheUserIsAsked) {
  Bind();
  ScriptedDialogs dialogs;
  WaitingLogin during;
  dialogs.OnNext([&during](ScriptedDialog& dialog) {
    during.Ask();
    EnterPIN("1234")(dialog);
  });
  const LoginLock lock;  // held by the operation that logs in
  m_open.Login();
  EXPECT_EQ(1, dialogs.ShownCount());
  EXPECT_FALSE(during.HadToWait());
  WaitingLogin after;
  after.Ask();
  EXPECT_TRUE(after.HadToWait());
}

TEST_F(ContextLoginTest, AnApplicationsWrongPINReportsTheTriesLeftAndKeepsTheCache) {
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  Bind();
  CachePIN("1234");
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_WRONG_CHV), "Wrong PIN, 2 retries remaining", LoginWithPIN("9999"));
  EXPECT_EQ("1234", CachedPIN());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Logout") + Line("Login")));
  EXPECT_EQ((Calls{"C_GetSessionInfo", "C_LoginExtended", "C_GetSessionInfo"}), m_module.TakeCallNames());
}

TEST_F(ContextLoginTest, AWrongPINWithoutTriesLeftIsBlocked) {
  Bind();
  m_module.FailNext("C_LoginExtended", CKR_PIN_INCORRECT);  // a module that reports no tries
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CHV_BLOCKED), "PIN is blocked", LoginWithPIN("9999"));
}

TEST_F(ContextLoginTest, WithAnApplicationsPINALockedTokenIsReportedAsBlocked) {
  Bind();
  m_module.FailNext("C_LoginExtended", CKR_PIN_LOCKED);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CHV_BLOCKED), "PIN is blocked", LoginWithPIN("1234"));
}

TEST_F(ContextLoginTest, AnyOtherErrorWithAnApplicationsPINIsNteFailWithItsMessage) {
  Bind();
  m_module.FailNext("C_LoginExtended", CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DEVICE_REMOVED), LoginWithPIN("1234"));
  EXPECT_EQ(0, Cache()->IsPINSet());
}

TEST_F(ContextLoginTest, AlreadyLoggedInWithAPINOfAnotherLengthIsAWrongPIN) {
  Bind();
  CachePIN("99999");
  m_module.FailNext("C_LoginExtended", CKR_USER_ALREADY_LOGGED_IN);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_WRONG_CHV), "User already Logged-in. Wrong PIN was submitted to the card",
                       LoginWithPIN("1234"));
}

TEST_F(ContextLoginTest, AlreadyLoggedInWithAnotherPINDoesNotMatch) {
  Bind();
  CachePIN("9999");
  m_module.FailNext("C_LoginExtended", CKR_USER_ALREADY_LOGGED_IN);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_WRONG_CHV), "PIN does not match", LoginWithPIN("1234"));
  EXPECT_EQ("9999", CachedPIN());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Logout") + Line("Login")));
}

TEST_F(ContextLoginTest, AlreadyLoggedInWithoutARememberedPINTrustsTheNewOne) {
  Bind();
  m_module.FailNext("C_LoginExtended", CKR_USER_ALREADY_LOGGED_IN);
  LoginWithPIN("1234");
  EXPECT_EQ(
      OpeningWithPIN() + Line("Login") + Line("User Already Logged-in. PIN Cache Set") + Line("Login Successfull"),
      TakeLog());
  EXPECT_EQ("1234", CachedPIN());
}

TEST_F(ContextLoginTest, AnApplicationsPINNeedsASession) {
  OpenContext context;
  context.Initialize(nullptr, 0xF0000000, m_cryptoki, 1);
  const BYTE pin[] = {'1', '2'};
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "The context has no session", context.LoginWithPIN(pin, 2));
}

}  // namespace
