// Logins, PINs, and how many tries are left.
#include <filesystem>

#include "TokenTest.h"

namespace softtoken::testing {
namespace {

using LoginTest = RunningTokenTest;

constexpr CK_FLAGS kPinFlags = CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY | CKF_USER_PIN_LOCKED |
                               CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY | CKF_SO_PIN_LOCKED;

TEST_F(LoginTest, TheRightPinLogsIn) {
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(session).state);
  EXPECT_EQ(CKR_OK, LoginExtended(session));
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, SessionInfo(session).state);
  EXPECT_EQ(CKS_RO_USER_FUNCTIONS, SessionInfo(Open(kReadOnly)).state);
  EXPECT_EQ(kReadWrite, SessionInfo(session).flags);
}

TEST_F(LoginTest, ASecondLoginIsRefused) {
  ASSERT_EQ(CKR_OK, LoginExtended(session));
  EXPECT_EQ(CKR_USER_ALREADY_LOGGED_IN, LoginExtended(session));
  EXPECT_EQ(CKR_USER_ALREADY_LOGGED_IN, LoginExtended(Open(), "wrong!")) << "and no try is spent";
  EXPECT_EQ(CKR_USER_ANOTHER_ALREADY_LOGGED_IN, Login(session, kSoPin, CKU_SO));
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError);
}

TEST_F(LoginTest, ExtendedLoginReturnsTheTriesLeft) {
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
  EXPECT_EQ(1u, LoginExtended(session, "12345"));
  EXPECT_EQ(CKR_PIN_LOCKED, LoginExtended(session, "1234567"));
  EXPECT_EQ(CKR_PIN_LOCKED, LoginExtended(session)) << "even with the right PIN";
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(session).state);
}

TEST_F(LoginTest, TheStandardLoginReturnsTheStandardCodes) {
  EXPECT_EQ(CKR_PIN_INCORRECT, Login(session, "000000"));
  EXPECT_EQ(CKR_PIN_INCORRECT, Login(session, "000000"));
  EXPECT_EQ(CKR_PIN_LOCKED, Login(session, "000000"));
  EXPECT_EQ(CKR_PIN_LOCKED, Login(session));
}

TEST_F(LoginTest, TheDeviceErrorCarriesTheTriesLeftAfterAWrongPin) {
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError);
  LoginExtended(session, "000000");
  EXPECT_EQ(2u, SessionInfo(session).ulDeviceError);
  Login(session, "000000");
  EXPECT_EQ(1u, SessionInfo(session).ulDeviceError);
  EXPECT_EQ(1u, SessionInfo(Open()).ulDeviceError) << "of the card, not of the session";
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError);
  for (int i = 0; i < 3; ++i) f.C_SetPIN(session, Text("000000"), 6, Text("111111"), 6);
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError) << "locked";
}

TEST_F(LoginTest, ASuccessfulLoginRestoresTheTries) {
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
  ASSERT_EQ(CKR_OK, LoginExtended(session));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
}

TEST_F(LoginTest, TheTokenFlagsShowTheTries) {
  EXPECT_EQ(0u, TokenInfo().flags & kPinFlags);
  Login(session, "000000");
  EXPECT_EQ(CKF_USER_PIN_COUNT_LOW, TokenInfo().flags & kPinFlags);
  Login(session, "000000");
  EXPECT_EQ(CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY, TokenInfo().flags & kPinFlags);
  Login(session, "000000");
  EXPECT_EQ(CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_LOCKED, TokenInfo().flags & kPinFlags);
  Login(session, "000000", CKU_SO);
  EXPECT_EQ(CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_LOCKED | CKF_SO_PIN_COUNT_LOW, TokenInfo().flags & kPinFlags);
}

TEST_F(LoginTest, TheCardKeepsTheTriesAcrossARestart) {
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
  Restart();
  session = Open();
  EXPECT_EQ(2u, SessionInfo(session).ulDeviceError);
  EXPECT_EQ(1u, LoginExtended(session, "000000"));
}

TEST_F(LoginTest, UnknownUsersAreRefused) {
  EXPECT_EQ(CKR_USER_TYPE_INVALID, Login(session, kPin, 17));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, Login(session, kPin, CKU_CONTEXT_SPECIFIC));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_Login(session, CKU_USER, nullptr, 0));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Login(4711));
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError) << "no try was spent";
}

TEST_F(LoginTest, LogoutNeedsALogin) {
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_Logout(session));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_Logout(session));
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(session).state);
}

TEST_F(LoginTest, TheLoginLastsUntilTheLastSessionCloses) {
  const CK_SESSION_HANDLE other = Open();
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, f.C_CloseSession(session));
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, SessionInfo(other).state);
  ASSERT_EQ(CKR_OK, f.C_CloseSession(other));
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(Open()).state);
}

TEST_F(LoginTest, ClosingAllSessionsLogsOut) {
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, f.C_CloseAllSessions(0));
  CK_SESSION_INFO info = {};
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_GetSessionInfo(session, &info));
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(Open()).state);
  EXPECT_EQ(CKR_SLOT_ID_INVALID, f.C_CloseAllSessions(1));
}

TEST_F(LoginTest, FinalizeLogsOut) {
  ASSERT_EQ(CKR_OK, Login(session));
  Restart();
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(Open()).state);
}

TEST_F(LoginTest, TheUserChangesThePin) {
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_OK, f.C_SetPIN(session, Text(kPin), 6, Text("abcd"), 4));
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, SessionInfo(session).state);
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(2u, LoginExtended(session));
  EXPECT_EQ(CKR_OK, LoginExtended(session, "abcd"));
}

TEST_F(LoginTest, WithoutALoginTheUsersPinIsChanged) {
  EXPECT_EQ(CKR_OK, f.C_SetPIN(session, Text(kPin), 6, Text("abcd"), 4));
  EXPECT_EQ(CKR_OK, Login(session, "abcd"));
}

TEST_F(LoginTest, TheSecurityOfficerChangesTheirOwnPin) {
  ASSERT_EQ(CKR_OK, Login(session, kSoPin, CKU_SO));
  EXPECT_EQ(CKR_OK, f.C_SetPIN(session, Text(kSoPin), 6, Text("999999"), 6));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(CKR_OK, Login(session, "999999", CKU_SO));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(CKR_OK, Login(session)) << "the user's is the same as before";
}

TEST_F(LoginTest, AWrongOldPinCostsATry) {
  EXPECT_EQ(CKR_PIN_INCORRECT, f.C_SetPIN(session, Text("000000"), 6, Text("abcd"), 4));
  EXPECT_EQ(2u, SessionInfo(session).ulDeviceError);
  EXPECT_EQ(CKR_PIN_INCORRECT, f.C_SetPIN(session, Text("000000"), 6, Text("abcd"), 4));
  EXPECT_EQ(CKR_PIN_LOCKED, f.C_SetPIN(session, Text("000000"), 6, Text("abcd"), 4));
  EXPECT_EQ(CKR_PIN_LOCKED, f.C_SetPIN(session, Text(kPin), 6, Text("abcd"), 4));
}

TEST_F(LoginTest, ANewPinMustHaveAValidLength) {
  EXPECT_EQ(CKR_PIN_LEN_RANGE, f.C_SetPIN(session, Text("000000"), 6, Text("123"), 3)) << "and no try is spent";
  EXPECT_EQ(CKR_PIN_LEN_RANGE, f.C_SetPIN(session, Text(kPin), 6, Text("12345678901234567"), 17));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_SetPIN(session, nullptr, 0, Text("1234"), 4));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_SetPIN(session, Text(kPin), 6, nullptr, 0));
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError);
}

TEST_F(LoginTest, AReadOnlySessionCannotChangeThePin) {
  EXPECT_EQ(CKR_SESSION_READ_ONLY, f.C_SetPIN(Open(kReadOnly), Text(kPin), 6, Text("abcd"), 4));
}

TEST_F(LoginTest, TheSecurityOfficerUnlocksThePin) {
  for (int i = 0; i < 3; ++i) Login(session, "000000");
  ASSERT_EQ(CKR_PIN_LOCKED, Login(session));
  ASSERT_EQ(CKR_OK, Login(session, kSoPin, CKU_SO));
  EXPECT_EQ(CKS_RW_SO_FUNCTIONS, SessionInfo(session).state);
  EXPECT_EQ(CKR_PIN_LEN_RANGE, f.C_InitPIN(session, Text("123"), 3));
  EXPECT_EQ(CKR_OK, f.C_InitPIN(session, Text("4444"), 4));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(2u, LoginExtended(session, kPin)) << "the old PIN is wrong, and all tries are restored";
  EXPECT_EQ(CKR_OK, LoginExtended(session, "4444"));
}

TEST_F(LoginTest, OnlyTheSecurityOfficerSetsAPinWithoutTheOldOne) {
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_InitPIN(session, Text("4444"), 4));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_InitPIN(session, Text("4444"), 4));
}

TEST_F(LoginTest, TheSecurityOfficerHasTriesToo) {
  EXPECT_EQ(2u, LoginExtended(session, "000000", CKU_SO));
  EXPECT_EQ(CKR_PIN_INCORRECT, Login(session, "000000", CKU_SO));
  EXPECT_EQ(CKR_PIN_LOCKED, LoginExtended(session, "000000", CKU_SO));
  EXPECT_EQ(0u, SessionInfo(session).ulDeviceError) << "it reports the tries of the user's PIN";
  EXPECT_EQ(CKR_OK, Login(session));
}

TEST_F(LoginTest, TheSecurityOfficerWorksInReadWriteSessionsOnly) {
  const CK_SESSION_HANDLE readOnly = Open(kReadOnly);
  EXPECT_EQ(CKR_SESSION_READ_ONLY_EXISTS, Login(session, kSoPin, CKU_SO));
  ASSERT_EQ(CKR_OK, f.C_CloseSession(readOnly));
  ASSERT_EQ(CKR_OK, Login(session, kSoPin, CKU_SO));
  CK_SESSION_HANDLE refused = 0;
  EXPECT_EQ(CKR_SESSION_READ_WRITE_SO_EXISTS, f.C_OpenSession(0, kReadOnly, nullptr, nullptr, &refused));
}

class LoginSettingsTest : public TokenTest {};

TEST_F(LoginSettingsTest, AWrongPinMayReturnTheStandardCode) {
  Start("wrong_pin = incorrect\n" + std::string(kOneCard));
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(CKR_PIN_INCORRECT, LoginExtended(session, "000000"));
  EXPECT_EQ(2u, SessionInfo(session).ulDeviceError);
  EXPECT_EQ(CKR_PIN_INCORRECT, LoginExtended(session, "000000"));
  EXPECT_EQ(CKR_PIN_LOCKED, LoginExtended(session, "000000"));
}

TEST_F(LoginSettingsTest, FifteenTriesFitInTheCount) {
  std::string settings = kOneCard;
  settings.replace(settings.find("tries = 3"), 9, "tries = 15");
  Start(settings);
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(14u, LoginExtended(session, "000000"));
  EXPECT_EQ(14u, SessionInfo(session).ulDeviceError & 15u);
}

TEST_F(LoginSettingsTest, ASingleTryIsTheFinalOne) {
  std::string settings = kOneCard;
  settings.replace(settings.find("tries = 3"), 9, "tries = 1");
  Start(settings);
  EXPECT_EQ(CKF_USER_PIN_FINAL_TRY | CKF_SO_PIN_FINAL_TRY, TokenInfo().flags & kPinFlags);
  EXPECT_EQ(CKR_PIN_LOCKED, LoginExtended(Open(), "000000"));
}

TEST_F(LoginSettingsTest, ThePinInTheSettingsIsOnlyForNewCards) {
  Start();
  ASSERT_EQ(CKR_OK, f.C_Finalize(nullptr));
  std::string settings = kOneCard;
  settings.replace(settings.find("pin = 123456"), 12, "pin = 777777");
  Start(settings);
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(2u, LoginExtended(session, "777777"));
  EXPECT_EQ(CKR_OK, LoginExtended(session));
}

TEST_F(LoginSettingsTest, TriesAreSharedBetweenProcesses) {
  OtherProcess other([this] {
    CK_SESSION_HANDLE session = 0;
    if (f.C_Initialize(nullptr) != CKR_OK) return 98;
    if (f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session) != CKR_OK) return 97;
    return static_cast<int>(LoginExtended(session, "000000"));
  });
  Start();
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
  other.Release();
  EXPECT_EQ(1, other.Wait());
  EXPECT_EQ(1u, SessionInfo(session).ulDeviceError);
  EXPECT_EQ(CKR_OK, LoginExtended(session));
}

TEST_F(LoginSettingsTest, WrongPinsOfTwoProcessesAtTheSameTimeAllCount) {
  std::string settings = kOneCard;
  settings.replace(settings.find("tries = 3"), 9, "tries = 15");
  WriteSettings(settings);
  // The tries left, after this process entered so many wrong PINs.
  const auto enterWrongPins = [this](int count) {
    CK_SESSION_HANDLE session = 0;
    if (f.C_Initialize(nullptr) != CKR_OK) return 98;
    if (f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session) != CKR_OK) return 97;
    CK_RV tries = 0;
    while (count-- > 0) tries = LoginExtended(session, "000000");
    return static_cast<int>(tries);
  };
  for (int round = 0; round < 8; ++round) {  // without a lock, about every second round would lose a count
    std::filesystem::remove_all(Folder() + "/state");
    OtherProcess first([&] { return enterWrongPins(6); });
    OtherProcess second([&] { return enterWrongPins(6); });
    first.Release();
    second.Release();
    first.Wait();
    second.Wait();
    OtherProcess third([&] { return enterWrongPins(1); });
    third.Release();
    ASSERT_EQ(2, third.Wait());
  }
}

TEST_F(LoginSettingsTest, AnotherProcessIsNotLoggedInByOurLogin) {
  OtherProcess other([this] {
    CK_SESSION_HANDLE session = 0;
    CK_SESSION_INFO info = {};
    if (f.C_Initialize(nullptr) != CKR_OK) return 98;
    if (f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session) != CKR_OK) return 97;
    if (f.C_GetSessionInfo(session, &info) != CKR_OK) return 96;
    return static_cast<int>(info.state);
  });
  Start();
  const CK_SESSION_HANDLE session = Open();
  ASSERT_EQ(CKR_OK, Login(session));
  other.Release();
  EXPECT_EQ(static_cast<int>(CKS_RW_PUBLIC_SESSION), other.Wait());
}

}  // namespace
}  // namespace softtoken::testing
