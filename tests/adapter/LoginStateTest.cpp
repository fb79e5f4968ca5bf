// The login that the provider sees, and the one that the module has.
#include "AdapterTest.h"

namespace adapter::testing {
namespace {

class LoginStateTest : public AdapterTest {
 protected:
  void Begin() {
    Start();
    session = Open();
    module.TakeCalls();
  }
  CK_RV SignOnce() {
    std::string signature;
    return Sign(session, FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}}), "data", signature);
  }
  CK_RV ChangePin(std::string oldPin, std::string newPin) {
    return Call<&Adapter::C_SetPIN>(session, reinterpret_cast<CK_UTF8CHAR*>(oldPin.data()),
                                    static_cast<CK_ULONG>(oldPin.size()), reinterpret_cast<CK_UTF8CHAR*>(newPin.data()),
                                    static_cast<CK_ULONG>(newPin.size()));
  }

  CK_SESSION_HANDLE session = 0;
};

TEST_F(LoginStateTest, IsKeptWhenTheProviderLogsOutAndInAgain) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(1, module.Count("C_Login"));
  EXPECT_EQ(0, module.Count("C_Logout"));
}

TEST_F(LoginStateTest, IsRequiredThoughTheModuleStaysLoggedIn) {
  AddPublicKey("1");
  AddPrivateKey("1");
  Begin();
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout(session));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_USER_ALREADY_LOGGED_IN, Login(session));
  EXPECT_EQ(CKR_OK, SignOnce());
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_TRUE(module.loggedIn);
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, SignOnce());
  Template data(Attributes{{CKA_CLASS, Number(CKO_DATA)}, {CKA_TOKEN, Flag(true)}});
  CK_OBJECT_HANDLE object = 0;
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Call<&Adapter::C_CreateObject>(session, data.Data(), data.Count(), &object));
}

// A signature that was started before a logout cannot be finished after it.
TEST_F(LoginStateTest, IsCheckedAgainWhenASignatureIsFinished) {
  AddPrivateKey("1");
  AddPublicKey("1");
  Begin();
  const CK_OBJECT_HANDLE key = FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}});
  ASSERT_EQ(CKR_OK, Login(session));
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_SignInit>(session, &mechanism, key));
  ASSERT_EQ(CKR_OK, Logout(session));
  CK_BYTE data[4] = {}, signature[200] = {};
  CK_ULONG length = sizeof signature;
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Call<&Adapter::C_Sign>(session, data, CK_ULONG{4}, signature, &length));
  EXPECT_EQ(0, module.Count("C_SignInit"));
}

TEST_F(LoginStateTest, EndsWhenAnotherPinIsGiven) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_EQ(3U, Login(session, "654321"));
  EXPECT_FALSE(module.loggedIn);
  EXPECT_EQ(1, module.Count("C_Logout"));
  EXPECT_EQ(2, module.Count("C_Login"));
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(3, module.Count("C_Login"));
}

TEST_F(LoginStateTest, ReachesTheModuleEachTimeWhenItIsNotKept) {
  settings.keepLogin = false;
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_FALSE(module.loggedIn);
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(2, module.Count("C_Login"));
}

TEST_F(LoginStateTest, EndsWhenItIsIdle) {
  settings.loginLife = std::chrono::seconds(60);
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  now += std::chrono::seconds(59);
  DeviceError(session);
  EXPECT_TRUE(module.loggedIn);
  now += std::chrono::seconds(1);
  DeviceError(session);
  EXPECT_FALSE(module.loggedIn);
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(2, module.Count("C_Login"));
}

TEST_F(LoginStateTest, ReportsWhenAnIdleLoginEnds) {
  Begin();
  EXPECT_FALSE(adapter->EndIdleLogins());
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_FALSE(adapter->EndIdleLogins());
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_EQ(now + settings.loginLife, adapter->EndIdleLogins());
  now += settings.loginLife;
  EXPECT_FALSE(adapter->EndIdleLogins());
  EXPECT_FALSE(module.loggedIn);
}

TEST_F(LoginStateTest, DoesNotEndWhileTheProviderIsLoggedIn) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  now += std::chrono::hours(1);
  DeviceError(session);
  EXPECT_TRUE(module.loggedIn);
}

TEST_F(LoginStateTest, EndsWithTheLastSession) {
  Begin();
  const CK_SESSION_HANDLE second = Open();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_CloseSession>(session));
  EXPECT_TRUE(module.loggedIn);
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_CloseSession>(second));
  EXPECT_FALSE(module.loggedIn);
  EXPECT_TRUE(module.sessions.empty());
  session = Open();
  EXPECT_EQ(3U, Login(session, "000000"));
}

// A program may still use a session handle from before the restart. Its PIN must not reach the card of a new session.
TEST_F(LoginStateTest, IsRefusedForASessionFromBeforeARestart) {
  Start();
  const CK_SESSION_HANDLE old = Open();
  Stop();
  Start();
  Open();
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Login(old));
}

TEST_F(LoginStateTest, IsRepeatedWhenAnotherProgramLoggedOut) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  module.loggedIn = false;
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_TRUE(module.loggedIn);
  EXPECT_EQ(2, module.Count("C_Login"));
}

TEST_F(LoginStateTest, FailsWhenAnotherProgramLockedThePin) {
  module.telling = scripted::Telling::Everything;
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  module.wrong = module.lockAfter;
  now += std::chrono::seconds(5);
  EXPECT_EQ(CKR_PIN_LOCKED, Login(session));
  EXPECT_FALSE(module.loggedIn);
}

// A card takes about 40 ms to answer.
TEST_F(LoginStateTest, ChecksForALockedPinAtMostEveryFiveSeconds) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  const auto asked = [&] {
    const int before = module.Count("C_GetTokenInfo");
    EXPECT_EQ(CKR_OK, Logout(session));
    EXPECT_EQ(CKR_OK, Login(session));
    return module.Count("C_GetTokenInfo") - before;
  };
  EXPECT_EQ(0, asked());
  now += std::chrono::milliseconds(4999);
  EXPECT_EQ(0, asked());
  now += std::chrono::milliseconds(1);
  EXPECT_EQ(1, asked());
  EXPECT_EQ(0, asked());
}

// ykcs11 after a card was pulled and put back.
TEST_F(LoginStateTest, IsRenewedWhenTheModuleReportsThatNoOneIsLoggedIn) {
  AddPublicKey("1");
  AddPrivateKey("1");
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  module.loggedIn = false;
  EXPECT_EQ(CKR_OK, SignOnce());
  EXPECT_EQ(2, module.Count("C_Login"));
}

// The session survives, but the login is lost. The private keys are hidden, and have new handles afterwards.
TEST_F(LoginStateTest, AfterACardWasPutBackTheKeysAreFoundAgain) {
  module.privateKeysDie = true;
  AddPublicKey("1");
  AddPrivateKey("1");
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, SignOnce());
  ASSERT_EQ(CKR_OK, Logout(session));
  module.LogOutAsPulled();
  EXPECT_NE(0U, FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}}));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_OK, SignOnce());
}

TEST_F(LoginStateTest, EndsWhenItCannotBeRenewed) {
  AddPublicKey("1");
  AddPrivateKey("1");
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  module.loggedIn = false;
  module.pin = "777777";
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, SignOnce());
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout(session));
  EXPECT_EQ(CKR_OK, Login(session, "777777"));
  EXPECT_EQ(CKR_OK, SignOnce());
}

// The provider's PIN must be right, whoever logged in to the module in this process.
TEST_F(LoginStateTest, IsNotTakenFromAnotherUserOfTheModule) {
  Begin();
  module.loggedIn = true;
  EXPECT_EQ(3U, Login(session, "999999"));
  module.loggedIn = true;
  EXPECT_EQ(CKR_OK, Login(session));
}

TEST_F(LoginStateTest, ReportsTheTriesLeftFromTheFlags) {
  module.telling = scripted::Telling::Everything;
  module.lockAfter = 4;
  Begin();
  EXPECT_EQ(2U, Login(session, "1"));
  EXPECT_EQ(2U, DeviceError(session));
  EXPECT_EQ(2U, Login(session, "1"));
  EXPECT_EQ(1U, Login(session, "1"));
  EXPECT_EQ(1U, DeviceError(session));
  EXPECT_EQ(CKR_PIN_LOCKED, Login(session, "1"));
  EXPECT_EQ(0U, DeviceError(session));
}

TEST_F(LoginStateTest, ReportsTheConfiguredTriesWithoutFlags) {
  settings.tries = 5;
  Begin();
  EXPECT_EQ(5U, Login(session, "1"));
  EXPECT_EQ(5U, DeviceError(session));
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(0U, DeviceError(session));
}

TEST_F(LoginStateTest, NeverReportsZeroTriesForAnUnlockedPin) {
  module.telling = scripted::Telling::AlwaysLow;
  module.lockAfter = 100;
  Begin();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(2U, Login(session, "1"));
}

// The last try returns that the PIN is wrong, but the flags show that it is locked.
TEST_F(LoginStateTest, ReportsALockedPinFromTheFlags) {
  module.telling = scripted::Telling::Everything;
  module.lockedSaysIncorrect = true;
  Begin();
  Login(session, "1");
  Login(session, "1");
  EXPECT_EQ(CKR_PIN_LOCKED, Login(session, "1"));
}

TEST_F(LoginStateTest, ThroughTheStandardEntryReturnsPinIncorrect) {
  Begin();
  CK_UTF8CHAR pin[] = {'1'};
  EXPECT_EQ(CKR_PIN_INCORRECT, Call<&Adapter::C_Login>(session, CK_USER_TYPE{CKU_USER}, pin, CK_ULONG{1}));
}

TEST_F(LoginStateTest, AcceptsTheNewPinAfterAChange) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_EQ(CKR_OK, ChangePin("123456", "777777"));
  EXPECT_EQ(CKR_OK, Login(session, "777777"));
  EXPECT_EQ(1, module.Count("C_Login"));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_EQ(3U, Login(session, "123456"));
}

// openCryptoki also changes a PIN without a login, and then its private keys can never be read again.
TEST_F(LoginStateTest, IsMadeBeforeAPinChangeReachesTheModule) {
  Begin();
  bool loggedIn = false;
  module.fail = [&](const std::string& entry) {
    if (entry == "C_SetPIN") loggedIn = module.loggedIn;
    return CK_RV{CKR_OK};
  };
  EXPECT_EQ(CKR_OK, ChangePin("123456", "777777"));
  EXPECT_TRUE(loggedIn);
  EXPECT_FALSE(module.loggedIn);
}

TEST_F(LoginStateTest, IsRepeatedForAPinChangeWhenTheModuleLostIt) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  module.loggedIn = false;
  module.changePinNeedsLogin = true;
  EXPECT_EQ(CKR_OK, ChangePin("123456", "777777"));
  EXPECT_TRUE(module.loggedIn);
}

TEST_F(LoginStateTest, SpendsOneTryForAWrongOldPin) {
  Begin();
  EXPECT_EQ(CKR_PIN_INCORRECT, ChangePin("1", "777777"));
  EXPECT_EQ(1U, module.wrong);
  EXPECT_EQ(0, module.Count("C_SetPIN"));
}

// A new PIN that the token refuses.
TEST_F(LoginStateTest, MadeForAPinChangeEndsIfTheChangeFails) {
  module.changePinAnswer = CKR_PIN_LEN_RANGE;
  Begin();
  EXPECT_EQ(CKR_PIN_LEN_RANGE, ChangePin("123456", "7"));
  EXPECT_FALSE(module.loggedIn);
}

// SoftHSM2 while another process logs in.
TEST_F(LoginStateTest, IsTriedAgainWhenASoftwareTokenFails) {
  Begin();
  int failures = 3;
  module.fail = [&](const std::string& entry) {
    return entry == "C_Login" && failures-- > 0 ? CK_RV{CKR_GENERAL_ERROR} : CK_RV{CKR_OK};
  };
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(4, module.Count("C_Login"));
}

TEST_F(LoginStateTest, IsNotRetriedForever) {
  Begin();
  module.fail = [](const std::string& entry) { return entry == "C_Login" ? CK_RV{CKR_GENERAL_ERROR} : CK_RV{CKR_OK}; };
  EXPECT_EQ(CKR_GENERAL_ERROR, Login(session));
}

// It is unknown whether the card counted the try.
TEST_F(LoginStateTest, IsNotTriedAgainWhenACardFails) {
  module.slots[0].flags = CKF_HW_SLOT | CKF_REMOVABLE_DEVICE;
  Begin();
  module.fail = [](const std::string& entry) { return entry == "C_Login" ? CK_RV{CKR_GENERAL_ERROR} : CK_RV{CKR_OK}; };
  EXPECT_EQ(CKR_GENERAL_ERROR, Login(session));
  EXPECT_EQ(1, module.Count("C_Login"));
}

TEST_F(LoginStateTest, IsNotTriedAgainAfterAWrongPin) {
  Begin();
  EXPECT_EQ(3U, Login(session, "1"));
  EXPECT_EQ(1, module.Count("C_Login"));
}

// NSS changes a PIN only for a user who is logged in.
TEST_F(LoginStateTest, IsMadeForAPinChangeThatNeedsOne) {
  module.changePinNeedsLogin = true;
  Begin();
  EXPECT_EQ(CKR_PIN_INCORRECT, ChangePin("1", "777777"));
  EXPECT_EQ(3U, DeviceError(session));
  EXPECT_EQ(CKR_OK, ChangePin("123456", "777777"));
  EXPECT_EQ("777777", module.pin);
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout(session));
}

TEST_F(LoginStateTest, EndsWhenTheOldPinOfAChangeIsWrong) {
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_EQ(CKR_PIN_INCORRECT, ChangePin("1", "777777"));
  EXPECT_FALSE(module.loggedIn);
  EXPECT_EQ(3U, DeviceError(session));
}

TEST_F(LoginStateTest, IsNotKeptForTheSecurityOfficer) {
  Begin();
  std::string pin = "so";
  auto* const bytes = reinterpret_cast<CK_UTF8CHAR*>(pin.data());
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_LoginExtended>(session, CK_USER_TYPE{CKU_SO}, bytes, CK_ULONG{2}));
  EXPECT_EQ(CKR_USER_ANOTHER_ALREADY_LOGGED_IN, Login(session));
  std::string fresh = "222222";
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_InitPIN>(session, reinterpret_cast<CK_UTF8CHAR*>(fresh.data()), CK_ULONG{6}));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_FALSE(module.officer);
  EXPECT_EQ(CKR_OK, Login(session, "222222"));
}

}  // namespace
}  // namespace adapter::testing
