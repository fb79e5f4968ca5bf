// The test double itself: the behaviour that other tests rely on.
#include <algorithm>
#include <gtest/gtest.h>
#include <thread>

#include "module/ScriptedModule.h"

namespace {

class ScriptedModuleTest : public ::testing::Test {
 protected:
  ScriptedModuleTest() : m_token(m_module.InsertToken("Reader A")) {
    m_module.C_OpenSession(0, 6, nullptr, nullptr, &m_session);
    m_module.ForgetCalls();
  }

  CK_RV Login(const char* pin) {
    std::string text = pin;
    return m_module.C_LoginExtended(m_session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(text.data()),
                                    static_cast<CK_ULONG>(text.size()));
  }

  CK_RV Logout() { return m_module.C_Logout(m_session); }

  ScriptedModule m_module;
  ScriptedToken& m_token;
  CK_SESSION_HANDLE m_session = 0;
};

TEST_F(ScriptedModuleTest, TheJournalKeepsTheOrderAndTakingItEmptiesIt) {
  Logout();
  Login("1234");
  EXPECT_EQ((Calls{"C_Logout(1)", "C_LoginExtended(1, user 1, 1234)"}), m_module.TakeCalls());
  EXPECT_EQ(Calls{}, m_module.TakeCalls());
  Logout();
  EXPECT_EQ(Calls{"C_Logout"}, m_module.TakeCallNames());
}

TEST_F(ScriptedModuleTest, TheNthCallFailsWhateverItIs) {
  Logout();
  m_module.FailAnyCall(2, CKR_DEVICE_ERROR);
  EXPECT_EQ(CKR_OK, Login("1234"));
  EXPECT_EQ(CK_RV{CKR_DEVICE_ERROR}, Logout());
  EXPECT_EQ(CKR_OK, Logout());
}

TEST_F(ScriptedModuleTest, FromTheNthCallOnEveryCallFails) {
  m_module.FailAnyCall(2, CKR_DEVICE_ERROR, true);
  EXPECT_EQ(CKR_OK, Login("1234"));
  EXPECT_EQ(CK_RV{CKR_DEVICE_ERROR}, Logout());
  EXPECT_EQ(CK_RV{CKR_DEVICE_ERROR}, Login("1234"));
}

TEST_F(ScriptedModuleTest, OnlyTheChosenCallFails) {
  m_module.FailOnCall("C_Logout", 2, CKR_DEVICE_ERROR);
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout());
  EXPECT_EQ(CKR_DEVICE_ERROR, Logout());
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout());
}

TEST_F(ScriptedModuleTest, FailuresChosenForOneEntryCountCallsFromTheRequest) {
  m_module.FailOnCall("C_Logout", 1, CKR_DEVICE_ERROR);
  m_module.FailOnCall("C_Logout", 3, CKR_HOST_MEMORY);
  EXPECT_EQ(CKR_DEVICE_ERROR, Logout());
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout());
  EXPECT_EQ(CKR_HOST_MEMORY, Logout());
}

TEST_F(ScriptedModuleTest, APermanentFailureLastsUntilItIsLifted) {
  m_module.FailAlways("C_Logout", CKR_DEVICE_ERROR);
  EXPECT_EQ(CKR_DEVICE_ERROR, Logout());
  EXPECT_EQ(CKR_DEVICE_ERROR, Logout());
  m_module.FailAlways("C_Logout", CKR_OK);
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Logout());
}

TEST_F(ScriptedModuleTest, AFailedCallDoesNothing) {
  m_module.FailNext("C_LoginExtended", CKR_DEVICE_ERROR);
  Login("1234");
  EXPECT_FALSE(m_token.loggedIn);
}

TEST_F(ScriptedModuleTest, TheCardCanBePulledBetweenTwoCalls) {
  m_module.BeforeNext("C_Logout", [this] { m_module.RemoveToken("Reader A"); });
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Logout());
  m_module.InsertToken("Reader A");
  EXPECT_EQ(CKR_OK, m_module.C_OpenSession(0, 6, nullptr, nullptr, &m_session));
}

TEST_F(ScriptedModuleTest, WrongPinsCountDownToTheLock) {
  EXPECT_EQ(CK_RV{2}, Login("0"));
  EXPECT_EQ(CK_RV{1}, Login("0"));
  EXPECT_EQ(CKR_PIN_LOCKED, Login("0"));
  EXPECT_EQ(CKR_PIN_LOCKED, Login("1234"));
}

TEST_F(ScriptedModuleTest, TheRightPinRestoresAllTries) {
  Login("0");
  EXPECT_EQ(CKR_OK, Login("1234"));
  EXPECT_EQ(CKR_USER_ALREADY_LOGGED_IN, Login("1234"));
  EXPECT_EQ(CK_ULONG{3}, m_token.triesLeft);
}

TEST_F(ScriptedModuleTest, PrivateKeysAreUsedOnlyAfterALogin) {
  const CK_OBJECT_HANDLE key = m_token.Add(PrivateKeyObject({1}, Counting(32, 0x81)));
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, m_module.C_SignInit(m_session, &mechanism, key));
  Login("1234");
  EXPECT_EQ(CKR_OK, m_module.C_SignInit(m_session, &mechanism, key));
}

TEST_F(ScriptedModuleTest, TheDigestContainsItsMessage) {
  CK_MECHANISM mechanism = {CKM_MD5, nullptr, 0};
  CK_BYTE message[] = {'x', 'y'};
  CK_BYTE digest[16] = {};
  CK_ULONG length = sizeof(digest);
  m_module.C_DigestInit(m_session, &mechanism);
  EXPECT_EQ(CKR_OK, m_module.C_Digest(m_session, message, 2, digest, &length));
  EXPECT_EQ((Bytes{0, 0, 0, 2, 'x', 'y', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), Bytes(digest, digest + 16));
}

TEST_F(ScriptedModuleTest, TheSignatureContainsItsMessage) {
  const CK_OBJECT_HANDLE key = m_token.Add(PrivateKeyObject({1}, Counting(16, 0x81)));
  Login("1234");
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  CK_BYTE message[] = {'x', 'y'};
  CK_BYTE signature[16] = {};
  CK_ULONG length = sizeof(signature);
  m_module.C_SignInit(m_session, &mechanism, key);
  EXPECT_EQ(CKR_OK, m_module.C_Sign(m_session, message, 2, signature, &length));
  EXPECT_EQ((Bytes{'S', 'S', 'S', 'S', 'S', 'S', 'S', 'S', 'S', 'S', 'S', 'S', 'S', 0, 'x', 'y'}),
            Bytes(signature, signature + 16));
}

TEST_F(ScriptedModuleTest, ASessionKeysPaddedModeAddsAndRemovesPadding) {
  const CK_OBJECT_HANDLE key = m_token.Add(SecretKeyObject(CKK_DES3, Counting(24, 0)));
  CK_MECHANISM mechanism = {CKM_DES3_CBC_PAD, nullptr, 0};
  CK_BYTE message[] = {1, 2, 3};
  CK_BYTE encrypted[8] = {};
  CK_ULONG length = sizeof(encrypted);
  m_module.C_EncryptInit(m_session, &mechanism, key);
  EXPECT_EQ(CKR_OK, m_module.C_Encrypt(m_session, message, 3, encrypted, &length));
  EXPECT_EQ((Bytes{0x5B, 0x58, 0x59, 0x5F, 0x5F, 0x5F, 0x5F, 0x5F}), Bytes(encrypted, encrypted + 8));
  CK_BYTE plain[8] = {};
  length = sizeof(plain);
  m_module.C_DecryptInit(m_session, &mechanism, key);
  EXPECT_EQ(CKR_OK, m_module.C_Decrypt(m_session, encrypted, 8, plain, &length));
  EXPECT_EQ((Bytes{1, 2, 3}), Bytes(plain, plain + length));
}

TEST_F(ScriptedModuleTest, FinalizeEndsSessionsAndLogins) {
  Login("1234");
  m_module.C_Finalize(nullptr);
  EXPECT_EQ(0U, m_module.OpenSessions());
  EXPECT_FALSE(m_token.loggedIn);
}

TEST_F(ScriptedModuleTest, ClosingASessionRemovesItsObjectsAndKeepsTokenObjects) {
  for (const bool onToken : {false, true}) {
    CK_BBOOL flag = onToken ? CK_TRUE : CK_FALSE;
    CK_ATTRIBUTE attributes[] = {{CKA_TOKEN, &flag, sizeof(flag)}};
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(CKR_OK, m_module.C_CreateObject(m_session, attributes, 1, &object));
  }
  m_module.C_CloseSession(m_session);
  EXPECT_EQ(0U, m_token.objects.count(1));
  EXPECT_EQ(1U, m_token.objects.count(2));
}

TEST_F(ScriptedModuleTest, PullingTheCardRemovesTheObjectsOfASession) {
  CK_BBOOL no = CK_FALSE;
  CK_ATTRIBUTE attributes[] = {{CKA_TOKEN, &no, sizeof(no)}};
  CK_OBJECT_HANDLE object = 0;
  EXPECT_EQ(CKR_OK, m_module.C_CreateObject(m_session, attributes, 1, &object));
  EXPECT_EQ(1U, m_token.objects.size());
  m_module.RemoveToken("Reader A");
  EXPECT_EQ(0U, m_token.objects.size());
}

TEST_F(ScriptedModuleTest, ReadersWithOneNameHaveSeparateTokens) {
  ScriptedToken& second = m_module.AddReader("Reader A");
  EXPECT_NE(&m_token, &second);
  EXPECT_EQ(&m_token, &m_module.InsertToken("Reader A"));
  CK_SLOT_INFO first = {};
  CK_SLOT_INFO other = {};
  EXPECT_EQ(CKR_OK, m_module.C_GetSlotInfo(0, &first));
  EXPECT_EQ(CKR_OK, m_module.C_GetSlotInfo(1, &other));
  EXPECT_TRUE(std::equal(first.slotDescription, first.slotDescription + 64, other.slotDescription));
}

TEST_F(ScriptedModuleTest, SeveralThreadsMayCall) {
  const auto work = [this] {
    for (int i = 0; i < 100; ++i) Logout();
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(200U, m_module.TakeCalls().size());
}

TEST(HexTextTest, IsShortenedAboveFortyBytes) {
  const Bytes bytes = Counting(41, 0);
  EXPECT_EQ("0001020304050607... (41 bytes)", HexText(bytes.data(), bytes.size()));
  EXPECT_EQ("0001", HexText(bytes.data(), 2));
}

}  // namespace
