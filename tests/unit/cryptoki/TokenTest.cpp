#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <stdexcept>

#include "cryptoki/Token.h"
#include "fixtures/Expect.h"
#include "module/ScriptedModule.h"

namespace {

constexpr CK_FLAGS kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

class TokenTest : public ::testing::Test {
 protected:
  TokenTest()
      : m_module(boost::make_shared<ScriptedModule>()), m_inserted(m_module->InsertToken("Reader A")), m_token(0) {
    m_token.SetCryptoki(m_module);
  }

  Session Open() { return m_token.OpenSession(kReadWrite, nullptr, nullptr); }

  // Makes the next `failures` openings fail.
  void FailOpenings(int failures) {
    for (int i = 1; i <= failures; ++i) m_module->FailOnCall("C_OpenSession", i, CKR_DEVICE_ERROR);
  }

  std::string FlagsTextFor(CK_FLAGS flags) {
    m_inserted.flags = flags;
    m_token.GetTokenInfo();
    return m_token.FlagsText();
  }

  boost::shared_ptr<ScriptedModule> m_module;
  ScriptedToken& m_inserted;
  Token m_token;
};

TEST_F(TokenTest, GetTokenInfoReadsTheToken) {
  EXPECT_EQ("01 23 45 67 89 AB CD EF", m_token.GetTokenInfo().GetSerial());
  m_inserted.serial = "FEDCBA9876543210";
  EXPECT_EQ("FE DC BA 98 76 54 32 10", m_token.GetTokenInfo().GetSerial());
  EXPECT_EQ((Calls{"C_GetTokenInfo(0)", "C_GetTokenInfo(0)"}), m_module->TakeCalls());
}

TEST_F(TokenTest, AFailedReadKeepsWhatWasKnown) {
  TokenInfo& info = m_token.GetTokenInfo();
  m_module->FailNext("C_GetTokenInfo", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, m_token.GetTokenInfo());
  EXPECT_EQ("01 23 45 67 89 AB CD EF", info.GetSerial());
}

TEST_F(TokenTest, WithoutAModuleItsOwnChecksReportNotInitialized) {
  Token unset(0);
  CK_UTF8CHAR text[32] = {};
  EXPECT_CRYPTOKI_ERROR(CKR_CRYPTOKI_NOT_INITIALIZED, unset.GetTokenInfo());
  EXPECT_CRYPTOKI_ERROR(CKR_CRYPTOKI_NOT_INITIALIZED, unset.GetMechanisms());
  EXPECT_CRYPTOKI_ERROR(CKR_CRYPTOKI_NOT_INITIALIZED, unset.InitToken(text, 4, text));
}

TEST_F(TokenTest, OpeningASessionWithoutAModuleIsABadArgument) {
  Token unset(0);
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, unset.OpenSession(kReadWrite, nullptr, nullptr));
}

TEST_F(TokenTest, MechanismsAreReadOneByOneInTheModulesOrder) {
  const std::list<Mechanism>& mechanisms = m_token.GetMechanisms();
  ASSERT_EQ(3U, mechanisms.size());
  EXPECT_EQ(CKM_SHA_1, mechanisms.back().GetType());
  EXPECT_EQ(CK_ULONG{4096}, +mechanisms.back().GetInfo().ulMaxKeySize);
  EXPECT_EQ((Calls{"C_GetMechanismList(0, null)", "C_GetMechanismList(0, room 3)",
                   "C_GetMechanismInfo(0, CKM_RSA_PKCS_KEY_PAIR_GEN)", "C_GetMechanismInfo(0, CKM_RSA_PKCS)",
                   "C_GetMechanismInfo(0, CKM_SHA_1)"}),
            m_module->TakeCalls());
}

TEST_F(TokenTest, WithoutAnyMechanismTheListIsEmptiedByOneCall) {
  m_token.GetMechanisms();
  m_inserted.mechanisms.clear();
  m_module->ForgetCalls();
  EXPECT_TRUE(m_token.GetMechanisms().empty());
  EXPECT_EQ(Calls{"C_GetMechanismList(0, null)"}, m_module->TakeCalls());
}

TEST_F(TokenTest, AFailureBetweenTwoMechanismsKeepsThoseReadBefore) {
  std::list<Mechanism>& mechanisms = m_token.GetMechanisms();
  m_module->FailOnCall("C_GetMechanismInfo", 2, CKR_MECHANISM_INVALID);
  EXPECT_CRYPTOKI_ERROR(CKR_MECHANISM_INVALID, m_token.GetMechanisms());
  EXPECT_EQ(1U, mechanisms.size());
}

TEST_F(TokenTest, AFailureOfEitherListCallKeepsTheEarlierMechanisms) {
  std::list<Mechanism>& mechanisms = m_token.GetMechanisms();
  m_module->FailNext("C_GetMechanismList", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_token.GetMechanisms());
  m_module->FailOnCall("C_GetMechanismList", 2, CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_token.GetMechanisms());
  EXPECT_EQ(3U, mechanisms.size());
}

TEST_F(TokenTest, InitTokenChecksItsArgumentsAndCallsTheModule) {
  CK_UTF8CHAR pin[] = {'1', '2', '3', '4'};
  CK_UTF8CHAR label[33] = "Label                           ";
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_token.InitToken(nullptr, 4, label));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_token.InitToken(pin, 0, label));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_token.InitToken(pin, 4, nullptr));
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
  m_token.InitToken(pin, 4, label);
  EXPECT_EQ(Calls{"C_InitToken(0, 4 bytes, Label                           )"}, m_module->TakeCalls());
  m_module->FailNext("C_InitToken", CKR_SESSION_EXISTS);
  EXPECT_CRYPTOKI_ERROR(CKR_SESSION_EXISTS, m_token.InitToken(pin, 4, label));
}

TEST_F(TokenTest, OpenSessionReturnsASessionWithTheModule) {
  Session session = Open();
  EXPECT_EQ(CK_SESSION_HANDLE{1}, session.GetSessionHandle());
  EXPECT_EQ(m_module, session.GetCryptoki());
  EXPECT_EQ(Calls{"C_OpenSession(0, flags 6)"}, m_module->TakeCalls());
}

TEST_F(TokenTest, AfterAFailedOpeningTheModuleIsRestarted) {
  FailOpenings(1);
  EXPECT_EQ(CK_SESSION_HANDLE{1}, Open().GetSessionHandle());
  EXPECT_EQ((Calls{"C_OpenSession(0, flags 6)", "C_Finalize(null)", "C_Initialize(null)", "C_GetSlotList(all, null)",
                   "C_OpenSession(0, flags 6)"}),
            m_module->TakeCalls());
}

TEST_F(TokenTest, BeforeTheRestartItsOwnSessionsAreClosed) {
  Open();
  Open();
  m_module->ForgetCalls();
  FailOpenings(1);
  Open();
  EXPECT_EQ((Calls{"C_OpenSession(0, flags 6)", "C_GetSessionInfo(1)", "C_CloseSession(1)", "C_GetSessionInfo(2)",
                   "C_CloseSession(2)", "C_Finalize(null)", "C_Initialize(null)", "C_GetSlotList(all, null)",
                   "C_OpenSession(0, flags 6)"}),
            m_module->TakeCalls());
}

TEST_F(TokenTest, ASessionOpenedByARetryIsInTheSessionListOnce) {
  FailOpenings(2);
  Open();
  m_module->ForgetCalls();
  m_token.CloseAllSessions();
  EXPECT_EQ((Calls{"C_GetSessionInfo(1)", "C_CloseSession(1)"}), m_module->TakeCalls());
}

TEST_F(TokenTest, TheEleventhFailureInARowIsThrown) {
  FailOpenings(11);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, Open());
  const Calls calls = m_module->TakeCallNames();
  EXPECT_EQ(11, std::count(calls.begin(), calls.end(), "C_OpenSession"));
  EXPECT_EQ(10, std::count(calls.begin(), calls.end(), "C_Finalize"));
}

TEST_F(TokenTest, TheEleventhFailureOfATokenObjectIsThrownEvenAfterSuccesses) {
  for (int i = 0; i < 10; ++i) {
    FailOpenings(1);
    EXPECT_NO_THROW(Open());
  }
  m_module->ForgetCalls();
  FailOpenings(1);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, Open());
  EXPECT_EQ(Calls{"C_OpenSession(0, flags 6)"}, m_module->TakeCalls());
}

TEST_F(TokenTest, ACopyHasTheSameCountOfRetries) {
  FailOpenings(10);
  Open();
  Token copy = m_token;
  FailOpenings(1);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, copy.OpenSession(kReadWrite, nullptr, nullptr));
}

TEST_F(TokenTest, TheLastOfSeveralFailuresIsThrown) {
  FailOpenings(10);
  m_module->FailOnCall("C_OpenSession", 11, CKR_SESSION_COUNT);
  EXPECT_CRYPTOKI_ERROR(CKR_SESSION_COUNT, Open());
}

TEST_F(TokenTest, TheRetryHasTheSameArguments) {
  FailOpenings(1);
  m_token.OpenSession(CKF_SERIAL_SESSION, m_module.get(), nullptr);
  const Calls calls = m_module->TakeCalls();
  EXPECT_EQ("C_OpenSession(0, flags 4, with callback)", calls.front());
  EXPECT_EQ("C_OpenSession(0, flags 4, with callback)", calls.back());
}

TEST_F(TokenTest, ACopyHasTheSameListOfSessions) {
  Open();
  Token copy = m_token;
  m_module->ForgetCalls();
  copy.CloseAllSessions();
  EXPECT_EQ((Calls{"C_GetSessionInfo(1)", "C_CloseSession(1)"}), m_module->TakeCalls());
}

TEST_F(TokenTest, AFailureOfTheRestartItselfIsIgnored) {
  FailOpenings(1);
  m_module->FailNext("C_Initialize", CKR_GENERAL_ERROR);
  EXPECT_NO_THROW(Open());
}

TEST_F(TokenTest, CloseAllSessionsSkipsThoseThatTheModuleDoesNotKnow) {
  Open();
  m_module->RemoveToken("Reader A");
  m_module->ForgetCalls();
  m_token.CloseAllSessions();
  EXPECT_EQ(Calls{"C_GetSessionInfo(1)"}, m_module->TakeCalls());
  m_token.CloseAllSessions();
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(TokenTest, DestructionClosesNothing) {
  {
    Token token = m_token;
    token.OpenSession(kReadWrite, nullptr, nullptr);
  }
  EXPECT_EQ(1U, m_module->OpenSessions());
}

TEST_F(TokenTest, FlagsAreShownByNameInAFixedOrder) {
  EXPECT_EQ(
      "[0x00FFFFFF] CKF_CLOCK_ON_TOKEN | CKF_DUAL_CRYPTO_OPERATIONS | CKF_LOGIN_REQUIRED | "
      "CKF_PROTECTED_AUTHENTICATION_PATH | CKF_RESTORE_KEY_NOT_NEEDED | CKF_SECONDARY_AUTHENTICATION | "
      "CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY | CKF_SO_PIN_LOCKED | CKF_SO_PIN_TO_BE_CHANGED | "
      "CKF_TOKEN_INITIALIZED | CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY | CKF_USER_PIN_INITIALIZED | "
      "CKF_USER_PIN_LOCKED | CKF_USER_PIN_TO_BE_CHANGED | CKF_WRITE_PROTECTED | CKF_RNG ",
      FlagsTextFor(0xFFFFFF));
}

struct TokenFlagCase {
  CK_FLAGS flag;
  const char* text;
};

class TokenFlagTest : public TokenTest, public ::testing::WithParamInterface<TokenFlagCase> {};

TEST_P(TokenFlagTest, HasItsBit) { EXPECT_EQ(GetParam().text, FlagsTextFor(GetParam().flag)); }

INSTANTIATE_TEST_SUITE_P(Rows, TokenFlagTest,
                         ::testing::Values(TokenFlagCase{0x1, "[0x00000001] CKF_RNG "},
                                           TokenFlagCase{0x2, "[0x00000002] CKF_WRITE_PROTECTED "},
                                           TokenFlagCase{0x4, "[0x00000004] CKF_LOGIN_REQUIRED "},
                                           TokenFlagCase{0x8, "[0x00000008] CKF_USER_PIN_INITIALIZED "},
                                           TokenFlagCase{0x20, "[0x00000020] CKF_RESTORE_KEY_NOT_NEEDED "},
                                           TokenFlagCase{0x40, "[0x00000040] CKF_CLOCK_ON_TOKEN "},
                                           TokenFlagCase{0x100, "[0x00000100] CKF_PROTECTED_AUTHENTICATION_PATH "},
                                           TokenFlagCase{0x200, "[0x00000200] CKF_DUAL_CRYPTO_OPERATIONS "},
                                           TokenFlagCase{0x400, "[0x00000400] CKF_TOKEN_INITIALIZED "},
                                           TokenFlagCase{0x800, "[0x00000800] CKF_SECONDARY_AUTHENTICATION "},
                                           TokenFlagCase{0x10000, "[0x00010000] CKF_USER_PIN_COUNT_LOW "},
                                           TokenFlagCase{0x20000, "[0x00020000] CKF_USER_PIN_FINAL_TRY "},
                                           TokenFlagCase{0x40000, "[0x00040000] CKF_USER_PIN_LOCKED "},
                                           TokenFlagCase{0x80000, "[0x00080000] CKF_USER_PIN_TO_BE_CHANGED "},
                                           TokenFlagCase{0x100000, "[0x00100000] CKF_SO_PIN_COUNT_LOW "},
                                           TokenFlagCase{0x200000, "[0x00200000] CKF_SO_PIN_FINAL_TRY "},
                                           TokenFlagCase{0x400000, "[0x00400000] CKF_SO_PIN_LOCKED "},
                                           TokenFlagCase{0x800000, "[0x00800000] CKF_SO_PIN_TO_BE_CHANGED "}));

TEST_F(TokenTest, WithoutANamedFlagTheTextThrows) {
  EXPECT_THROW(m_token.FlagsText(), std::out_of_range);
  EXPECT_THROW(FlagsTextFor(0x1000), std::out_of_range);
}

TEST_F(TokenTest, CountersOfATokenThatWasNotReadAreZero) {
  for (const std::string& text :
       {m_token.MaxSessionCountText(), m_token.SessionCountText(), m_token.MaxRwSessionCountText(),
        m_token.RwSessionCountText(), m_token.MaxPinLenText(), m_token.MinPinLenText(), m_token.TotalPublicMemoryText(),
        m_token.FreePublicMemoryText(), m_token.TotalPrivateMemoryText(), m_token.FreePrivateMemoryText()}) {
    EXPECT_EQ("0", text);
  }
}

TEST_F(TokenTest, CountersAreShownInDecimal) {
  m_token.GetTokenInfo();
  EXPECT_EQ("0", m_token.MaxSessionCountText());
  EXPECT_EQ("0", m_token.SessionCountText());
  EXPECT_EQ("12", m_token.MaxRwSessionCountText());
  EXPECT_EQ("3", m_token.RwSessionCountText());
  EXPECT_EQ("8", m_token.MaxPinLenText());
  EXPECT_EQ("4", m_token.MinPinLenText());
  EXPECT_EQ("4294967295", m_token.TotalPublicMemoryText());
  EXPECT_EQ("2000", m_token.FreePublicMemoryText());
  EXPECT_EQ("3000", m_token.TotalPrivateMemoryText());
  EXPECT_EQ("4000", m_token.FreePrivateMemoryText());
}

}  // namespace
