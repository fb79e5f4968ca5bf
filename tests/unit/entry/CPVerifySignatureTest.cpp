// Verifying the signatures of hashes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SignatureEntryTest.h"
#include "cryptoki/CryptokiError.h"
#include "fixtures/ErrorCodes.h"
#include "objects/CCSPHash.h"

namespace {

using ::testing::EndsWith;

constexpr HCRYPTKEY kUpperBit = HCRYPTKEY{1} << 32U;

class CPVerifySignatureTest : public SignatureEntryTest {
 protected:
  static std::string Begin(DWORD flags, DWORD length) {
    return FrameLines("CPVerifySignature") + Value("\tdwFlags: \t", Hex8(flags)) + Value("\tSigLen: \t", Hex8(length));
  }
  // The call is refused before the context is looked up.
  void ExpectRefusedAtOnce(DWORD code, const std::string& line, HCRYPTHASH hash, HCRYPTKEY key, const BYTE* signature,
                           DWORD length, LPCWSTR description = nullptr) {
    SetLastError(4711);
    EXPECT_FALSE(CPVerifySignature(m_unknown, hash, signature, length, key, description, 9));
    EXPECT_EQ(code, GetLastError());
    EXPECT_EQ(Begin(9, length) + Line(line), TakeLog());
  }
};

TEST_F(CPVerifySignatureTest, ASignatureMadeHereIsAcceptedAndLoggedFromEndToEnd) {
  const HCRYPTHASH hash = HashOf("abc");
  const Bytes signature = Sign(hash);
  TakeLog();
  m_module.ForgetCalls();
  SetLastError(4711);
  EXPECT_TRUE(Verify(hash, signature));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Begin(0, 128) + LoginLines() + Line("\nCPVerifySignature Success"), TakeLog());
  EXPECT_EQ((Calls{"C_Logout(1)", "C_LoginExtended(1, user 1, 1234)", "C_VerifyInit(1, CKM_RSA_PKCS, 1)",
                   "C_Verify(1, 35 bytes, signature 128 bytes)"}),
            m_module.TakeCalls());
}

TEST_F(CPVerifySignatureTest, AnUnfinishedHashIsFinished) { EXPECT_TRUE(Verify(HashOf("abc"), Signed(WithPrefix()))); }

TEST_F(CPVerifySignatureTest, OnlyTheLowestFlagDecidesWhatIsVerified) {
  for (const DWORD flags : {1U, 3U, 0xFFFFFFFFU}) {
    EXPECT_TRUE(Verify(HashOf("abc"), Signed(kDigest), flags)) << flags;
    EXPECT_FALSE(Verify(HashOf("abc"), Signed(WithPrefix()), flags)) << flags;
  }
  for (const DWORD flags : {0U, 2U, 0xFFFFFFFEU}) {
    EXPECT_TRUE(Verify(HashOf("abc"), Signed(WithPrefix()), flags)) << flags;
    EXPECT_FALSE(Verify(HashOf("abc"), Signed(kDigest), flags)) << flags;
  }
}

TEST_F(CPVerifySignatureTest, AWrongSignatureIsBad) {
  EXPECT_FALSE(Verify(HashOf("abd"), Signed(WithPrefix())));
  EXPECT_EQ(Code(NTE_BAD_SIGNATURE), GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(LoginLines() + Line(ErrorText(CKR_SIGNATURE_INVALID))));
}

TEST_F(CPVerifySignatureTest, ADescriptionIsRefusedFirst) {
  ExpectRefusedAtOnce(87, "\nCPVerifySignature Error: Description is not NULL", 0, 0, nullptr, 0, L"text");
}

TEST_F(CPVerifySignatureTest, HashAndKeyOfZeroAreABadHash) {
  ExpectRefusedAtOnce(Code(NTE_BAD_HASH), "\nCPVerifySignature Error: pHash is NULL", 0, 0, nullptr, 0);
}

TEST_F(CPVerifySignatureTest, AKeyOfZeroIsABadKey) {
  ExpectRefusedAtOnce(Code(NTE_BAD_KEY), "\nCPVerifySignature Error: Invalid Public Key", 1, 0, nullptr, 0);
}

TEST_F(CPVerifySignatureTest, ASignatureIsRequired) {
  const BYTE signature[] = {1};
  const std::string line =
      "\nCPVerifySignature Error: The Signature to Verify is set to NULL or the Signature Length is 0";
  ExpectRefusedAtOnce(87, line, 1, 1, nullptr, 1);
  ExpectRefusedAtOnce(87, line, 1, 1, signature, 0);
}

TEST_F(CPVerifySignatureTest, UnknownHandlesAreBad) {
  const BYTE signature[] = {1};
  EXPECT_FALSE(CPVerifySignature(m_unknown, 1, signature, 1, 1, nullptr, 0));
  EXPECT_EQ(Code(NTE_BAD_UID), GetLastError());
  EXPECT_EQ(Begin(0, 1) + Line("The context does not exist"), TakeLog());
  EXPECT_FALSE(CPVerifySignature(m_provider, 1, signature, 1, 1, nullptr, 0));
  EXPECT_EQ(Code(NTE_BAD_HASH), GetLastError());
  EXPECT_EQ(Begin(0, 1) + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPVerifySignatureTest, AKeyThatWasNotImportedIsNotFoundAndTheHashStaysOpen) {
  const BYTE signature[] = {1};
  const HCRYPTHASH hash = HashOf("abc");
  EXPECT_FALSE(CPVerifySignature(m_provider, hash, signature, 1, HCRYPTKEY{0x01FFFFFF}, nullptr, 0));
  EXPECT_EQ(Code(NTE_NO_KEY), GetLastError());
  EXPECT_EQ(Begin(0, 1) + Line("Key was not found in Imported Public Key List"), TakeLog());
  EXPECT_EQ(0U, g_contextList.FindContext(m_provider)->GetHash(static_cast<DWORD>(hash))->IsFinished());
}

TEST_F(CPVerifySignatureTest, AnImportedKeyVerifiesASignature) {
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(128, 0x81));
  HCRYPTKEY key = 0;
  ASSERT_TRUE(CPImportKey(m_provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  const HCRYPTHASH hash = HashOf("abc");
  const Bytes signature = Reversed(Signed(WithPrefix()));
  m_module.ForgetCalls();
  EXPECT_TRUE(CPVerifySignature(m_provider, hash, signature.data(), 128, key, nullptr, 0));
  EXPECT_EQ((Calls{"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 20)",
                   "C_Logout(1)", "C_LoginExtended(1, user 1, 1234)", "C_VerifyInit(1, CKM_RSA_PKCS, 3)",
                   "C_Verify(1, 35 bytes, signature 128 bytes)"}),
            m_module.TakeCalls());
}

TEST_F(CPVerifySignatureTest, AHandleOfThePairWithAnUpperBitIsNotFound) {
  const Bytes signature = Reversed(Signed(WithPrefix()));
  const auto context = g_contextList.FindContext(m_provider);
  for (const HCRYPTKEY key : {context->GetSignatureKeyHandle(), context->GetExchangeKeyHandle()}) {
    EXPECT_FALSE(CPVerifySignature(m_provider, HashOf("abc"), signature.data(), 128, key | kUpperBit, nullptr, 0));
    EXPECT_EQ(Code(NTE_NO_KEY), GetLastError());
  }
}

TEST_F(CPVerifySignatureTest, TheUpperBitsOfAnImportedKeysHandleAreIgnored) {
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(128, 0x81));
  HCRYPTKEY key = 0;
  ASSERT_TRUE(CPImportKey(m_provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  const Bytes signature = Reversed(Signed(WithPrefix()));
  EXPECT_TRUE(CPVerifySignature(m_provider, HashOf("abc"), signature.data(), 128, key | kUpperBit, nullptr, 0));
}

TEST_F(CPVerifySignatureTest, TheExchangeKeysHandleVerifiesWithTheSamePair) {
  const Bytes signature = Reversed(Signed(WithPrefix()));
  EXPECT_TRUE(CPVerifySignature(m_provider, HashOf("abc"), signature.data(), 128,
                                g_contextList.FindContext(m_provider)->GetExchangeKeyHandle(), nullptr, 0));
}

}  // namespace
