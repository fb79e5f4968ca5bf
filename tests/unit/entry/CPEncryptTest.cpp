#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"
#include "fixtures/DataEntryTest.h"
#include "fixtures/ErrorCodes.h"
#include "module/WaitingLogin.h"

namespace {

class CPEncryptTest : public DataEntryTest {
 protected:
  // The lines of a call up to the last argument.
  static std::string Begin(const void* data, const std::string& size, const std::string& length,
                           const std::string& final = "00000000", const std::string& flags = "00000000") {
    return BeginWithoutLength(data, size, final, flags) + Value("\tpcbDataLen: \t", length);
  }
  static std::string BeginWithoutLength(const void* data, const std::string& size,
                                        const std::string& final = "00000000", const std::string& flags = "00000000") {
    return FrameLines("CPEncrypt") + Value("\tfFinal: \t", final) + Value("\thpbData: \t", Hex8(data)) +
           Value("\tdwFlags: \t", flags) + Value("\tcbBufLen: \t", size);
  }

  Bytes m_data = Counting(32, 0);
  DWORD m_length = 16;
};

// --- Session keys

TEST_F(CPEncryptTest, ASessionKeyEncryptsInPlaceAndIsLoggedFromEndToEnd) {
  const HCRYPTKEY key = MakeKeyHandle();
  ExpectDone(CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Turned(Counting(16, 0)), Bytes(m_data.begin(), m_data.begin() + 16));
  EXPECT_EQ(Counting(16, 16), Bytes(m_data.begin() + 16, m_data.end()));
  EXPECT_EQ(Begin(m_data.data(), "00000010", "00000010") + Line("\nCPEncrypt Success"), TakeLog());
  EXPECT_EQ((Calls{"C_EncryptInit(1, CKM_DES_CBC with 0000000000000000, 3)", "C_Encrypt(1, 16 bytes, room 16)"}),
            m_module.TakeCalls());
}

TEST_F(CPEncryptTest, TheUpperBitsOfASessionKeysHandleAreIgnored) {
  const HCRYPTKEY key = MakeKeyHandle() | kUpperBit;
  ExpectDone(CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
  EXPECT_EQ(Turned(Counting(16, 0)), Bytes(m_data.begin(), m_data.begin() + 16));
}

TEST_F(CPEncryptTest, AHandleOfThePairWithAnUpperBitIsABadKey) {
  for (const HCRYPTKEY key : {SignatureKey() | kUpperBit, ExchangeKey() | kUpperBit}) {
    ExpectRefused(Code(NTE_BAD_KEY), CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
    EXPECT_EQ(Begin(m_data.data(), "00000010", "00000010") + Line("Symmetric Key not found in this context"),
              TakeLog());
  }
}

TEST_F(CPEncryptTest, ForASessionKeyTheTwoLengthsSwapTheirRoles) {
  const HCRYPTKEY key = MakeKeyHandle();
  m_length = 32;
  ExpectDone(CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 8));
  EXPECT_EQ(8U, m_length);
  EXPECT_EQ(Turned(Counting(8, 0)), Bytes(m_data.begin(), m_data.begin() + 8));
  EXPECT_EQ((Calls{"C_EncryptInit(1, CKM_DES_CBC with 0000000000000000, 3)", "C_Encrypt(1, 8 bytes, room 32)"}),
            m_module.TakeCalls());
}

TEST_F(CPEncryptTest, ALengthBelowTheBufferLengthIsTooLittleSpace) {
  const HCRYPTKEY key = MakeKeyHandle();
  m_length = 8;
  ExpectRefused(Code(NTE_FAIL), CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
  EXPECT_EQ(8U, m_length);
  EXPECT_EQ(Begin(m_data.data(), "00000010", "00000008") +
                Line("The output of the function is too large to fit in the supplied buffer."),
            TakeLog());
}

TEST_F(CPEncryptTest, FinalAndFlagsAreLoggedAndNothingIsPadded) {
  const HCRYPTKEY key = MakeKeyHandle();
  ExpectDone(CPEncrypt(m_handle, key, 0, TRUE, 0x40, m_data.data(), &m_length, 16));
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Begin(m_data.data(), "00000010", "00000010", "00000001", "00000040") + Line("\nCPEncrypt Success"),
            TakeLog());
  ExpectRefused(Code(NTE_FAIL), CPEncrypt(m_handle, key, 0, TRUE, 0, m_data.data(), &m_length, 15));
}

TEST_F(CPEncryptTest, SuccessiveCallsChainOnTheLastBlock) {
  const HCRYPTKEY key = MakeKeyHandle();
  ExpectDone(CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
  m_module.ForgetCalls();
  ExpectDone(CPEncrypt(m_handle, key, 0, TRUE, 0, m_data.data() + 16, &m_length, 16));
  EXPECT_EQ("C_EncryptInit(1, CKM_DES_CBC with 5253505156575455, 3)", m_module.TakeCalls().front());
}

TEST_F(CPEncryptTest, WithoutABufferTheModuleIsAskedForTheLength) {
  const HCRYPTKEY key = MakeKeyHandle();
  m_length = 0;
  ExpectDone(CPEncrypt(m_handle, key, 0, TRUE, 0, nullptr, &m_length, 24));
  EXPECT_EQ((Calls{"C_EncryptInit(1, CKM_DES_CBC with 0000000000000000, 3)", "C_Encrypt(1, null of 24, null)"}),
            m_module.TakeCalls());
  EXPECT_EQ(Begin(nullptr, "00000018", "00000000", "00000001") + Line("\nCPEncrypt Success"), TakeLog());
}

TEST_F(CPEncryptTest, NoOtherThreadLogsTheTokenOutWhileASessionKeyEncrypts) {
  const HCRYPTKEY key = MakeKeyHandle();
  for (const char* entry : {"C_EncryptInit", "C_Encrypt"}) {
    WaitingLogin login(m_module, entry);
    ExpectDone(CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
    EXPECT_TRUE(login.HadToWait()) << entry;
  }
}

// --- The key pair

TEST_F(CPEncryptTest, EitherHandleOfTheKeyPairEncryptsAndTheLengthIsThatOfTheInput) {
  for (const HCRYPTKEY key : {SignatureKey(), ExchangeKey()}) {
    m_data = Counting(32, 0);
    m_length = 3;
    ExpectDone(CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 32));
    EXPECT_EQ(16U, m_length);
    EXPECT_EQ((Bytes{'E', 'E', 'E', 'E', 'E', 'E', 'E', 'E', 'E', 'E', 'E', 'E', 0, 0, 1, 2}),
              Bytes(m_data.begin(), m_data.begin() + 16));
    EXPECT_EQ(Begin(m_data.data(), "00000020", "00000003") + Line("\nCPEncrypt Success"), TakeLog());
    EXPECT_EQ((Calls{"C_Logout(1)", "C_LoginExtended(1, user 1, 1234)", "C_EncryptInit(1, CKM_RSA_PKCS, 1)",
                     "C_Encrypt(1, 3 bytes, room 32)"}),
              m_module.TakeCalls());
  }
}

TEST_F(CPEncryptTest, WithTheKeyPairTheModuleEncryptsFromACopy) {
  m_module.wroteOverInput = true;
  m_length = 3;
  ExpectDone(CPEncrypt(m_handle, SignatureKey(), 0, FALSE, 0, m_data.data(), &m_length, 32));
  EXPECT_FALSE(m_module.wroteOverInput);
}

TEST_F(CPEncryptTest, WithoutABufferTheKeyPairReturnsTheLength) {
  m_length = 3;
  ExpectDone(CPEncrypt(m_handle, ExchangeKey(), 0, TRUE, 0, nullptr, &m_length, 0));
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ("C_Encrypt(1, null of 3, null)", m_module.TakeCalls().back());
  EXPECT_EQ(Begin(nullptr, "00000000", "00000003", "00000001") + Line("\nCPEncrypt Success"), TakeLog());
}

TEST_F(CPEncryptTest, AMissingKeyPairIsRefusedByTheContext) {
  const HCRYPTPROV other = AcquireHandle("\\\\.\\Reader A\\none", CRYPT_SILENT);
  const HCRYPTKEY key = g_contextList.FindContext(other)->GetExchangeKeyHandle();
  ExpectRefused(Code(NTE_BAD_KEY), CPEncrypt(other, key, 0, FALSE, 0, m_data.data(), &m_length, 32));
  EXPECT_EQ(Begin(m_data.data(), "00000020", "00000010") + Line("Public Key does not exist for encrypting"), TakeLog());
  EXPECT_EQ(16U, m_length);
}

// --- Refusals

TEST_F(CPEncryptTest, AHashIsRefusedBeforeTheContextIsLookedUp) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPEncrypt(m_unknown, 0, 5, FALSE, 0, m_data.data(), &m_length, 32));
  EXPECT_EQ(Begin(m_data.data(), "00000020", "00000010") + Line("\nCPEncrypt Error: HASH not supported"), TakeLog());
}

TEST_F(CPEncryptTest, WithoutALengthTheCallIsRefused) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER),
                CPEncrypt(m_handle, MakeKeyHandle(), 5, FALSE, 0, m_data.data(), nullptr, 32));
  EXPECT_EQ(BeginWithoutLength(m_data.data(), "00000020") + Line("\nCPEncrypt Error: pcbDataLen is NULL"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPEncryptTest, AnUnknownContextIsABadUid) {
  ExpectRefused(Code(NTE_BAD_UID), CPEncrypt(m_unknown, 0, 0, FALSE, 0, m_data.data(), &m_length, 32));
  EXPECT_EQ(Begin(m_data.data(), "00000020", "00000010") + Line("The context does not exist"), TakeLog());
}

TEST_F(CPEncryptTest, AnUnknownKeyIsABadKeyAlthoughTheContextReportsNoKey) {
  ExpectRefused(Code(NTE_BAD_KEY), CPEncrypt(m_handle, NoKey(), 0, FALSE, 0, m_data.data(), &m_length, 32));
  EXPECT_EQ(Begin(m_data.data(), "00000020", "00000010") + Line("Symmetric Key not found in this context"), TakeLog());
  EXPECT_EQ(16U, m_length);
}

TEST_F(CPEncryptTest, AnImportedPublicKeyIsABadKey) {
  ExpectRefused(Code(NTE_BAD_KEY), CPEncrypt(m_handle, ImportPublicKey(), 0, FALSE, 0, m_data.data(), &m_length, 32));
  EXPECT_EQ(Begin(m_data.data(), "00000020", "00000010") + Line("Symmetric Key not found in this context"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPEncryptTest, AModuleErrorLogsItsMessageSetsNteFailAndKeepsTheLength) {
  const HCRYPTKEY key = MakeKeyHandle();
  m_module.FailNext("C_EncryptInit", CKR_DEVICE_REMOVED);
  ExpectRefused(Code(NTE_FAIL), CPEncrypt(m_handle, key, 0, FALSE, 0, m_data.data(), &m_length, 16));
  EXPECT_EQ(Begin(m_data.data(), "00000010", "00000010") + Line(ErrorText(CKR_DEVICE_REMOVED)), TakeLog());
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Counting(32, 0), m_data);
}

}  // namespace
