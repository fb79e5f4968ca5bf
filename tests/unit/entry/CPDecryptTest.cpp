#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"
#include "fixtures/DataEntryTest.h"
#include "fixtures/ErrorCodes.h"
#include "module/WaitingLogin.h"

namespace {

using ::testing::EndsWith;

class CPDecryptTest : public DataEntryTest {
 protected:
  // The lines of a call up to the last argument.
  static std::string Begin(HCRYPTKEY key, const void* data, const std::string& length,
                           const std::string& final = "00000000", const std::string& flags = "00000000") {
    return BeginWithoutLength(key, data, final, flags) + Value("\tpcbDataLen: \t", length);
  }
  static std::string BeginWithoutLength(HCRYPTKEY key, const void* data, const std::string& final = "00000000",
                                        const std::string& flags = "00000000") {
    return FrameLines("CPDecrypt") + Value("\tfFinal: \t\t ", final) + Value("\thKey: \t\t", Hex8(key)) +
           Value("\thpbData: \t", Hex8(data)) + Value("\tdwFlags: \t", flags);
  }

  // Decrypts data that becomes `plain`, in place. Returns the whole buffer; the length is in `m_length`.
  Bytes Decrypt(const Bytes& plain, BOOL final, ALG_ID algorithm = CALG_DES) {
    const HCRYPTKEY key = MakeKeyHandle(algorithm);
    Bytes data = Turned(plain);
    m_length = static_cast<DWORD>(data.size());
    m_result = CPDecrypt(m_handle, key, 0, final, 0, data.data(), &m_length);
    return data;
  }
  // Cipher text of the key pair, in the platform's byte order.
  static Bytes Encrypted(const std::string& text) {
    Bytes data = Text(text);
    data.insert(data.begin(), 0);
    data.insert(data.begin(), 16 - data.size(), 'E');
    return Bytes(data.rbegin(), data.rend());
  }

  BOOL m_result = FALSE;
  DWORD m_length = 16;
};

// --- Session keys

TEST_F(CPDecryptTest, ASessionKeyDecryptsInPlaceAndIsLoggedFromEndToEnd) {
  const HCRYPTKEY key = MakeKeyHandle();
  Bytes data = Turned(Counting(16, 0));
  ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Counting(16, 0), data);
  EXPECT_EQ(Begin(key, data.data(), "00000010") + Line("Secret Key Decrypt") + Line("\r\nDecrypting ") +
                Value("Result Len: ", "10") + "PlainText: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F \n" +
                Line("\nCPDecrypt Success"),
            TakeLog());
  EXPECT_EQ((Calls{"C_DecryptInit(1, CKM_DES_CBC with 0000000000000000, 3)", "C_Decrypt(1, 16 bytes, room 16)"}),
            m_module.TakeCalls());
}

TEST_F(CPDecryptTest, TheFinalCallRemovesThePaddingAndIsLoggedFromEndToEnd) {
  const HCRYPTKEY key = MakeKeyHandle();
  Bytes data = Turned({'a', 'b', 'c', 'd', 'e', 3, 3, 3});
  m_length = 8;
  ExpectDone(CPDecrypt(m_handle, key, 0, TRUE, 0x40, data.data(), &m_length));
  EXPECT_EQ(5U, m_length);
  EXPECT_EQ((Bytes{'a', 'b', 'c', 'd', 'e', 0, 0, 0}), data);
  EXPECT_EQ(Begin(key, data.data(), "00000008", "00000001", "00000040") + Line("Secret Key Decrypt") +
                Line("\r\nDecrypting ") + Line("Removing PKCS Padding") + Value("Result Len: ", "5") +
                "PlainText: 61 62 63 64 65 \n" + Line("\nCPDecrypt Success"),
            TakeLog());
}

TEST_F(CPDecryptTest, AnyNonzeroFinalRemovesThePadding) {
  Decrypt({0, 0, 0, 0, 0, 0, 0, 1}, -1);
  ExpectDone(m_result);
  EXPECT_EQ(7U, m_length);
  EXPECT_THAT(TakeLog(), ::testing::HasSubstr(Value("\tfFinal: \t\t ", "FFFFFFFF")));
}

TEST_F(CPDecryptTest, WithoutFinalThePaddingStaysAndTheFullLengthIsReturned) {
  const Bytes plain = {'a', 'b', 'c', 'd', 'e', 3, 3, 3};
  EXPECT_EQ(plain, Decrypt(plain, FALSE));
  ExpectDone(m_result);
  EXPECT_EQ(8U, m_length);
  EXPECT_THAT(TakeLog(), EndsWith(Line("\r\nDecrypting ") + Value("Result Len: ", "8") +
                                  "PlainText: 61 62 63 64 65 03 03 03 \n" + Line("\nCPDecrypt Success")));
}

TEST_F(CPDecryptTest, ALastByteOfZeroIsBadDataWithoutAnErrorLineAndTheBytesStay) {
  const Bytes plain = {1, 2, 3, 4, 5, 6, 7, 0};
  EXPECT_EQ(plain, Decrypt(plain, TRUE));
  ExpectRefused(Code(NTE_BAD_DATA), m_result);
  EXPECT_EQ(8U, m_length);
  EXPECT_THAT(TakeLog(),
              EndsWith(Line("Secret Key Decrypt") + Line("\r\nDecrypting ") + Line("Removing PKCS Padding")));
}

TEST_F(CPDecryptTest, AnAesBlockThatIsAllPaddingLeavesNothingAndSucceeds) {
  EXPECT_EQ(Bytes(16), Decrypt(Bytes(16, 16), TRUE, CALG_AES_128));
  ExpectDone(m_result);
  EXPECT_EQ(0U, m_length);
  EXPECT_THAT(TakeLog(), EndsWith(Line("Removing PKCS Padding") + Value("Result Len: ", "0") + "PlainText: \n" +
                                  Line("\nCPDecrypt Success")));
}

TEST_F(CPDecryptTest, FortyPaddingBytesAreRemovedAlthoughLongerThanABlock) {
  Bytes plain = Counting(8, 1);
  plain.insert(plain.end(), 40, 40);
  Bytes expected = Counting(8, 1);
  expected.resize(48);
  EXPECT_EQ(expected, Decrypt(plain, TRUE));
  ExpectDone(m_result);
  EXPECT_EQ(8U, m_length);
}

TEST_F(CPDecryptTest, SuccessiveCallsDoNotChain) {
  const HCRYPTKEY key = MakeKeyHandle();
  Bytes data(16);
  ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
  m_module.ForgetCalls();
  ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
  EXPECT_EQ("C_DecryptInit(1, CKM_DES_CBC, 3)", m_module.TakeCalls().front());
}

TEST_F(CPDecryptTest, WithoutABufferAndALengthTheModuleIsAskedForTheLength) {
  const HCRYPTKEY key = MakeKeyHandle();
  m_module.falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Decrypt") count = 24;
  };
  m_length = 0;
  ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, nullptr, &m_length));
  EXPECT_EQ(24U, m_length);
  EXPECT_EQ("C_Decrypt(1, 0 bytes, null)", m_module.TakeCalls().back());
  EXPECT_EQ(Begin(key, nullptr, "00000000") + Line("Secret Key Decrypt") + Line("\r\nDecrypting ") +
                Value("Result Len: ", "18") + "PlainText: \n" + Line("\nCPDecrypt Success"),
            TakeLog());
}

TEST_F(CPDecryptTest, WithoutABufferThereIsNoPaddingToRemove) {
  m_length = 0;
  ExpectRefused(Code(NTE_BAD_DATA), CPDecrypt(m_handle, MakeKeyHandle(), 0, TRUE, 0, nullptr, &m_length));
  EXPECT_EQ(0U, m_length);
}

TEST_F(CPDecryptTest, AReturnedLengthBeyondTheBufferIsCutToTheBuffer) {
  m_module.falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Decrypt") count = 0xFFFFFFFF;
  };
  Decrypt(Bytes(8, 1), TRUE);
  ExpectDone(m_result);
  EXPECT_EQ(7U, m_length);
}

TEST_F(CPDecryptTest, TheUpperBitsOfASessionKeysHandleAreIgnored) {
  const HCRYPTKEY key = MakeKeyHandle() | kUpperBit;
  Bytes data = Turned(Counting(16, 0));
  ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
  EXPECT_EQ(Counting(16, 0), data);
}

TEST_F(CPDecryptTest, TheModuleDecryptsFromACopy) {
  const HCRYPTKEY session = MakeKeyHandle();
  for (const HCRYPTKEY key : {session, ExchangeKey()}) {
    Bytes data = Encrypted("abc");
    m_module.wroteOverInput = true;
    ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
    EXPECT_FALSE(m_module.wroteOverInput);
    m_length = 16;
  }
}

TEST_F(CPDecryptTest, NoOtherThreadLogsTheTokenOutWhileASessionKeyDecrypts) {
  const HCRYPTKEY key = MakeKeyHandle(CALG_DES, CRYPT_MODE_ECB);
  Bytes data(16);
  for (const char* entry : {"C_DecryptInit", "C_Decrypt"}) {
    WaitingLogin login(m_module, entry);
    ExpectDone(CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
    EXPECT_TRUE(login.HadToWait()) << entry;
  }
}

// --- The key pair

TEST_F(CPDecryptTest, EitherHandleOfTheKeyPairDecryptsAndNeverRemovesPadding) {
  for (const HCRYPTKEY key : {SignatureKey(), ExchangeKey()}) {
    for (const BOOL final : {FALSE, TRUE}) {
      Bytes data = Encrypted("abc\2\2");
      m_length = 16;
      ExpectDone(CPDecrypt(m_handle, key, 0, final, 0, data.data(), &m_length));
      EXPECT_EQ(5U, m_length);
      EXPECT_EQ(Text("abc\2\2"), Bytes(data.begin(), data.begin() + 5));
      EXPECT_EQ(Begin(key, data.data(), "00000010", final != FALSE ? "00000001" : "00000000") +
                    Line("RSA Key Decrypt") + Value("Result Len: ", "5") + "PlainText: 61 62 63 02 02 \n" +
                    Line("\nCPDecrypt Success"),
                TakeLog());
      EXPECT_EQ((Calls{"C_Logout(1)", "C_LoginExtended(1, user 1, 1234)", "C_DecryptInit(1, CKM_RSA_PKCS, 2)",
                       "C_Decrypt(1, 16 bytes, room 16)"}),
                m_module.TakeCalls());
    }
  }
}

TEST_F(CPDecryptTest, AHandleOfThePairWithAnUpperBitIsABadKey) {
  for (const HCRYPTKEY key : {SignatureKey() | kUpperBit, ExchangeKey() | kUpperBit}) {
    Bytes data = Encrypted("abc");
    ExpectRefused(Code(NTE_BAD_KEY), CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
    EXPECT_EQ(Begin(key, data.data(), "00000010") + Line("Symmetric Key not found in this context"), TakeLog());
  }
}

TEST_F(CPDecryptTest, AMissingKeyPairIsRefusedByTheContext) {
  const HCRYPTPROV other = AcquireHandle("\\\\.\\Reader A\\none", CRYPT_SILENT);
  const HCRYPTKEY key = g_contextList.FindContext(other)->GetExchangeKeyHandle();
  Bytes data(16);
  ExpectRefused(Code(NTE_BAD_KEY), CPDecrypt(other, key, 0, FALSE, 0, data.data(), &m_length));
  EXPECT_EQ(
      Begin(key, data.data(), "00000010") + Line("RSA Key Decrypt") + Line("Private Key does not exist for decrypting"),
      TakeLog());
  EXPECT_EQ(16U, m_length);
}

// --- Refusals

TEST_F(CPDecryptTest, AHashIsRefusedBeforeTheContextIsLookedUp) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDecrypt(m_unknown, 7, 5, FALSE, 0, nullptr, &m_length));
  EXPECT_EQ(Begin(7, nullptr, "00000010") + Line("\nCPDecrypt Error: HASH not supported"), TakeLog());
}

TEST_F(CPDecryptTest, WithoutALengthTheCallIsRefused) {
  Bytes data(16);
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDecrypt(m_handle, 7, 5, FALSE, 0, data.data(), nullptr));
  EXPECT_EQ(BeginWithoutLength(7, data.data()) + Line("\nCPDecrypt Error: pcbDataLen is NULL"), TakeLog());
}

TEST_F(CPDecryptTest, ALengthWithoutDataIsRefusedBeforeAnythingIsDecrypted) {
  const HCRYPTKEY session = MakeKeyHandle();
  for (const HCRYPTKEY key : {session, SignatureKey()}) {
    ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDecrypt(m_handle, key, 0, FALSE, 0, nullptr, &m_length));
    EXPECT_EQ(Begin(key, nullptr, "00000010") + Line("\nCPDecrypt Error: pbData is NULL"), TakeLog());
  }
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPDecryptTest, AnUnknownContextIsABadUid) {
  ExpectRefused(Code(NTE_BAD_UID), CPDecrypt(m_unknown, 7, 0, FALSE, 0, nullptr, &m_length));
  EXPECT_EQ(Begin(7, nullptr, "00000010") + Line("The context does not exist"), TakeLog());
}

TEST_F(CPDecryptTest, AnUnknownKeyIsABadKeyAlthoughTheContextReportsNoKey) {
  const HCRYPTKEY key = NoKey();
  Bytes data(16, 0xEE);
  ExpectRefused(Code(NTE_BAD_KEY), CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
  EXPECT_EQ(Begin(key, data.data(), "00000010") + Line("Symmetric Key not found in this context"), TakeLog());
  EXPECT_EQ(Bytes(16, 0xEE), data);
  EXPECT_EQ(16U, m_length);
}

TEST_F(CPDecryptTest, AnImportedPublicKeyIsABadKey) {
  const HCRYPTKEY key = ImportPublicKey();
  Bytes data(16);
  ExpectRefused(Code(NTE_BAD_KEY), CPDecrypt(m_handle, key, 0, FALSE, 0, data.data(), &m_length));
  EXPECT_EQ(Begin(key, data.data(), "00000010") + Line("Symmetric Key not found in this context"), TakeLog());
}

TEST_F(CPDecryptTest, AModuleErrorLogsItsMessageSetsNteFailAndKeepsTheLength) {
  const HCRYPTKEY key = MakeKeyHandle();
  Bytes data(16, 0xEE);
  m_module.FailNext("C_Decrypt", CKR_DEVICE_REMOVED);
  ExpectRefused(Code(NTE_FAIL), CPDecrypt(m_handle, key, 0, TRUE, 0, data.data(), &m_length));
  EXPECT_EQ(Begin(key, data.data(), "00000010", "00000001") + Line("Secret Key Decrypt") + Line("\r\nDecrypting ") +
                Line(ErrorText(CKR_DEVICE_REMOVED)),
            TakeLog());
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Bytes(16, 0xEE), data);
}

}  // namespace
