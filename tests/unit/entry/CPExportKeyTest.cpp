// CPExportKey.
#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"
#include "module/KeyBlobBytes.h"

namespace {

const Bytes kModulus = Counting(128, 0x81);

class CPExportKeyTest : public KeyEntryTest {
 protected:
  static std::string Begin(const std::string& type, const std::string& flags, const std::string& length) {
    return FrameLines("CPExportKey") + Value("\tdwBlobType:\t", type) + Value("\tdwFlags: \t", flags) +
           Value("\tpcbDataLen: \t", length);
  }
  HCRYPTKEY Exchange() { return Context().GetExchangeKeyHandle(); }
};

TEST_F(CPExportKeyTest, ExportingThePublicKeyOfThePairIsLoggedFromEndToEnd) {
  Bytes blob(148);
  DWORD length = 200;
  blob.resize(200, 0xEE);
  ExpectDone(CPExportKey(m_handle, Exchange(), 0, PUBLICKEYBLOB, 0x40, blob.data(), &length));
  EXPECT_EQ(Begin("00000006", "00000040", "000000C8") + Line("\nCPExportKey Success"), TakeLog());
  EXPECT_EQ(148U, length);
  blob.resize(148);
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_KEYX, kModulus), blob);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPExportKeyTest, WithoutABufferTheSizeOfAPublicKeyIsReturned) {
  DWORD length = 0;
  ExpectDone(CPExportKey(m_handle, Exchange(), 0, PUBLICKEYBLOB, 0, nullptr, &length));
  EXPECT_EQ(148U, length);
}

TEST_F(CPExportKeyTest, ExportingASessionKeyIsLoggedFromEndToEnd) {
  const HCRYPTKEY key = MakeSessionKey();
  DWORD length = 0;
  ExpectDone(CPExportKey(m_handle, key, Exchange(), SIMPLEBLOB, 0, nullptr, &length));
  EXPECT_EQ(140U, length);
  EXPECT_EQ(Begin("00000001", "00000000", "00000000") + Line("\nCPExportKey Success"), TakeLog());
  Bytes blob(140);
  ExpectDone(CPExportKey(m_handle, key, Exchange(), SIMPLEBLOB, 0, blob.data(), &length));
  EXPECT_EQ(Begin("00000001", "00000000", "0000008C") + LoginLines() + Line("\nCPExportKey Success"), TakeLog());
  EXPECT_EQ(128U, length);
  EXPECT_EQ(SimpleBlob(CALG_3DES, EncryptedKey(Reversed(Counting(24, 1)), 128)), blob);
  EXPECT_EQ((Calls{"C_Logout", "C_LoginExtended", "C_GetAttributeValue", "C_GetAttributeValue", "C_EncryptInit",
                   "C_Encrypt"}),
            m_module.TakeCallNames());
}

TEST_F(CPExportKeyTest, TheUpperBitsOfBothHandlesAreIgnored) {
  constexpr HCRYPTKEY kUpperBit = HCRYPTKEY{1} << 32U;
  const HCRYPTKEY key = MakeSessionKey();
  DWORD length = 0;
  ExpectDone(CPExportKey(m_handle, key | kUpperBit, Exchange() | kUpperBit, SIMPLEBLOB, 0, nullptr, &length));
  EXPECT_EQ(140U, length);
  ExpectDone(CPExportKey(m_handle, Exchange() | kUpperBit, 0, PUBLICKEYBLOB, 0, nullptr, &length));
  EXPECT_EQ(148U, length);
}

TEST_F(CPExportKeyTest, ALengthPointerIsRequired) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER),
                CPExportKey(m_handle, Exchange(), 0, PUBLICKEYBLOB, 0, nullptr, nullptr));
  EXPECT_EQ(FrameLines("CPExportKey") + Value("\tdwBlobType:\t", "00000006") + Value("\tdwFlags: \t", "00000000") +
                Line("\nCPExportKey Error: pcbDataLen is NULL"),
            TakeLog());
}

TEST_F(CPExportKeyTest, OtherBlobTypesAreABadType) {
  DWORD length = 5;
  for (const DWORD type : {0U, 2U, 7U, 0x106U, 0xFFFFFFFFU}) {
    ExpectRefused(Code(NTE_BAD_TYPE), CPExportKey(m_handle, Exchange(), 0, type, 0, nullptr, &length));
    EXPECT_EQ(Begin(Hex8(type), "00000000", "00000005") + Line("\nCPExportKey Error: Invalid Blob Type"), TakeLog());
  }
  EXPECT_EQ(5U, length);
}

TEST_F(CPExportKeyTest, ABadTypeOnAnUnknownContextIsABadUid) {
  DWORD length = 0;
  ExpectRefused(Code(NTE_BAD_UID), CPExportKey(m_unknown, 0, 0, 99, 0, nullptr, &length));
  EXPECT_EQ(Begin("00000063", "00000000", "00000000") + Line("The context does not exist"), TakeLog());
}

TEST_F(CPExportKeyTest, AShortBufferForAPublicKeyIsMoreData) {
  Bytes blob(147);
  DWORD length = 147;
  ExpectRefused(Code(ERROR_MORE_DATA), CPExportKey(m_handle, Exchange(), 0, PUBLICKEYBLOB, 0, blob.data(), &length));
  EXPECT_EQ(Begin("00000006", "00000000", "00000093") + Line("More Data Needed for Public Key BLOB"), TakeLog());
}

TEST_F(CPExportKeyTest, AShortBufferForASessionKeyIsNteFail) {
  const HCRYPTKEY key = MakeSessionKey();
  Bytes blob(139);
  DWORD length = 139;
  ExpectRefused(Code(NTE_FAIL), CPExportKey(m_handle, key, Exchange(), SIMPLEBLOB, 0, blob.data(), &length));
  EXPECT_EQ(Begin("00000001", "00000000", "0000008B") + LoginLines() + Line(ErrorText(CKR_BUFFER_TOO_SMALL)),
            TakeLog());
}

TEST_F(CPExportKeyTest, AMissingPublicKeyIsABadPublicKey) {
  const HCRYPTKEY key = MakeSessionKey();
  DWORD length = 0;
  ExpectRefused(Code(NTE_BAD_PUBLIC_KEY), CPExportKey(m_handle, key, 0, SIMPLEBLOB, 0, nullptr, &length));
  EXPECT_EQ(Begin("00000001", "00000000", "00000000") +
                Line("\nCPExportKey Error: A session key is encrypted with a public key only"),
            TakeLog());
}

TEST_F(CPExportKeyTest, AKeyThatMayNotBeExportedIsABadPublicKey) {
  const HCRYPTKEY key = Import(SimpleBlob(CALG_DES, Reversed(EncryptedKey(Counting(8, 1), 128))));
  DWORD length = 0;
  ExpectRefused(Code(NTE_BAD_PUBLIC_KEY), CPExportKey(m_handle, key, Exchange(), SIMPLEBLOB, 0, nullptr, &length));
  EXPECT_EQ(Begin("00000001", "00000000", "00000000") +
                Line("\nCPExportKey Error: You do not have permission to export the key"),
            TakeLog());
}

}  // namespace
