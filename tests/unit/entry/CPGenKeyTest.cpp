// CPGenKey.
#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"

namespace {

class CPGenKeyTest : public KeyEntryTest {
 protected:
  static std::string Begin(const std::string& algorithm, const std::string& flags) {
    return FrameLines("CPGenKey") + Value("\tAlgid:", algorithm) + Value("\tdwFlags:", flags);
  }
};

TEST_F(CPGenKeyTest, TheLogAndTheCallsOfGeneratingASessionKeyAreComplete) {
  HCRYPTKEY key = kUntouched;
  ExpectDone(CPGenKey(m_handle, CALG_DES, 1, &key));
  EXPECT_EQ(Begin("00006601", "00000001") + LoginLines() + CreationLines() + Line("\nCPGenKey Success"), TakeLog());
  EXPECT_EQ((Calls{"C_Logout", "C_LoginExtended", "C_GenerateRandom", "C_CreateObject"}), m_module.TakeCallNames());
  EXPECT_EQ(key, Context().GetSecretKey(static_cast<DWORD>(key))->GetKeyID());
  EXPECT_EQ(ALG_ID{CALG_DES}, Context().GetSecretKey(static_cast<DWORD>(key))->GetAlgID());
  EXPECT_EQ(1U, Context().GetSecretKey(static_cast<DWORD>(key))->GetMode());
}

TEST_F(CPGenKeyTest, TheLogAndTheCallsOfGeneratingAPairAreComplete) {
  HCRYPTKEY key = kUntouched;
  ExpectDone(CPGenKey(m_handle, AT_SIGNATURE, 0x04000000, &key));
  EXPECT_EQ(Begin("00000002", "04000000") + LoginLines() + Line("\nCPGenKey Success"), TakeLog());
  EXPECT_EQ((Calls{"C_Logout", "C_LoginExtended", "C_GenerateKeyPair", "C_GetAttributeValue", "C_GetAttributeValue",
                   "C_GetAttributeValue", "C_GetAttributeValue", "C_GetAttributeValue", "C_GetAttributeValue"}),
            m_module.TakeCallNames());
  EXPECT_EQ(key, Context().GetSignatureKeyHandle());
}

TEST_F(CPGenKeyTest, WithoutAHandlePointerNothingIsGenerated) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPGenKey(m_handle, AT_SIGNATURE, 0, nullptr));
  EXPECT_EQ(Begin("00000002", "00000000") + Line("\nCPGenKey Error: phKey is NULL"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPGenKeyTest, OtherRefusalsAreReportedBeforeANullHandlePointer) {
  ExpectRefused(Code(NTE_BAD_UID), CPGenKey(m_unknown, AT_SIGNATURE, 0, nullptr));
  EXPECT_EQ(Begin("00000002", "00000000") + Line("The context does not exist"), TakeLog());
  const HCRYPTPROV verify = AcquireHandle(nullptr, CRYPT_VERIFYCONTEXT);
  ExpectRefused(Code(NTE_PERM), CPGenKey(verify, AT_SIGNATURE, 0, nullptr));
  EXPECT_EQ(Begin("00000002", "00000000") + Line("\nCPGenKey Error: FLAG IS VERIFY"), TakeLog());
}

TEST_F(CPGenKeyTest, AnUnknownContextIsABadUid) {
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_BAD_UID), CPGenKey(m_unknown, AT_SIGNATURE, 0, &key));
  EXPECT_EQ(Begin("00000002", "00000000") + Line("The context does not exist"), TakeLog());
  EXPECT_EQ(kUntouched, key);
}

TEST_F(CPGenKeyTest, AContextForVerificationGetsNoPair) {
  const HCRYPTPROV verify = AcquireHandle(nullptr, CRYPT_VERIFYCONTEXT);
  for (const ALG_ID algorithm : {ALG_ID{1}, ALG_ID{2}}) {
    HCRYPTKEY key = kUntouched;
    ExpectRefused(Code(NTE_PERM), CPGenKey(verify, algorithm, 0, &key));
    EXPECT_EQ(Begin(Hex8(algorithm), "00000000") + Line("\nCPGenKey Error: FLAG IS VERIFY"), TakeLog());
    EXPECT_EQ(kUntouched, key);
  }
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPGenKeyTest, OneOfTheFourUpperBitsIsEnoughForVerification) {
  const HCRYPTPROV verify = AcquireHandle(nullptr, 0x10000000);
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_PERM), CPGenKey(verify, AT_KEYEXCHANGE, 0, &key));
}

TEST_F(CPGenKeyTest, ASessionKeyInAContextForVerificationIsRefusedByTheContext) {
  const HCRYPTPROV verify = AcquireHandle(nullptr, CRYPT_VERIFYCONTEXT);
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_FAIL), CPGenKey(verify, CALG_DES, 0, &key));
  EXPECT_EQ(Begin("00006601", "00000000") + Line("\nInitializing PIN cache") + Value("cardSerial:\t", "") +
                Value("strReaderName:\t", "") + Line("Token is not initialized") +
                Line("The Smart Card is not properly initialized"),
            TakeLog());
}

TEST_F(CPGenKeyTest, TheRsaAlgorithmsPassTheCheckForVerificationAndFailLater) {
  const HCRYPTPROV verify = AcquireHandle(nullptr, CRYPT_VERIFYCONTEXT);
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_FAIL), CPGenKey(verify, CALG_RSA_SIGN, 0, &key));
  ExpectRefused(Code(NTE_FAIL), CPGenKey(verify, CALG_RSA_KEYX, 0, &key));
}

TEST_F(CPGenKeyTest, AnUnknownAlgorithmIsRefusedAfterTheLogin) {
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_BAD_ALGID), CPGenKey(m_handle, 0, 0, &key));
  EXPECT_EQ(Begin("00000000", "00000000") + LoginLines() + Line("Algorithm not supported for Key Generation"),
            TakeLog());
  EXPECT_EQ(kUntouched, key);
}

TEST_F(CPGenKeyTest, AModuleErrorIsNteFail) {
  m_module.FailNext("C_GenerateKeyPair", CKR_DEVICE_MEMORY);
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_FAIL), CPGenKey(m_handle, AT_KEYEXCHANGE, 0, &key));
  EXPECT_EQ(Begin("00000001", "00000000") + LoginLines() + Line(ErrorText(CKR_DEVICE_MEMORY)), TakeLog());
  EXPECT_EQ(kUntouched, key);
}

}  // namespace
