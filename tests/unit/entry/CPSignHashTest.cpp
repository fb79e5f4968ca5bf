// Signing and verifying hashes. The scripted module's results can be read (tests/support/ScriptedCrypto.cpp).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EntryTest.h"
#include "cryptoki/CryptokiError.h"
#include "entry/CCSPContextList.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class SignatureEntryTest : public EntryTest {
 protected:
  SignatureEntryTest() {
    AddKeyPair(m_module.InsertToken("Reader A"), Text("one"), 128);
    m_provider = AcquireHandle("\\\\.\\Reader A\\one");
    const BYTE pin[] = {'1', '2', '3', '4'};
    g_contextList.FindContext(m_provider)->LoginWithPIN(pin, sizeof(pin));
    m_module.ForgetCalls();
    TakeLog();
    SetLastError(4711);
  }

  // A hash that holds "abc"; what that logged is forgotten.
  HCRYPTHASH HashOf(const std::string& data, ALG_ID algorithm = CALG_SHA1) {
    HCRYPTHASH hash = 0;
    EXPECT_TRUE(CPCreateHash(m_provider, algorithm, 0, 0, &hash));
    EXPECT_TRUE(
        CPHashData(m_provider, hash, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()), 0));
    TakeLog();
    return hash;
  }

  // The signature turned back into the module's order; empty after a failure.
  Bytes Sign(HCRYPTHASH hash, DWORD flags = 0) {
    Bytes signature(128);
    DWORD length = 128;
    if (CPSignHash(m_provider, hash, AT_KEYEXCHANGE, nullptr, flags, signature.data(), &length) == FALSE) return {};
    EXPECT_EQ(128U, length);
    return Bytes(signature.rbegin(), signature.rend());
  }

  BOOL Verify(HCRYPTHASH hash, const Bytes& signature, DWORD flags = 0) {
    const Bytes turned(signature.rbegin(), signature.rend());
    return CPVerifySignature(m_provider, hash, turned.data(), static_cast<DWORD>(turned.size()), SignatureKey(),
                             nullptr, flags);
  }

  HCRYPTKEY SignatureKey() { return g_contextList.FindContext(m_provider)->GetSignatureKeyHandle(); }

  // What the module makes of these bytes with its key of 128 bytes.
  static Bytes Signed(const Bytes& data) {
    Bytes block(128 - data.size() - 1, 'S');
    block.push_back(0);
    block.insert(block.end(), data.begin(), data.end());
    return block;
  }

  HCRYPTPROV m_provider = 0;
};

// The scripted SHA-1 digest of "abc": the length, the message, zeros.
const Bytes kDigest = {0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
const Bytes kPrefix = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14};

Bytes WithPrefix() {
  Bytes data = kPrefix;
  data.insert(data.end(), kDigest.begin(), kDigest.end());
  return data;
}

using CPSignHashTest = SignatureEntryTest;

TEST_F(CPSignHashTest, PrefixAndDigestAreSigned) { EXPECT_EQ(Signed(WithPrefix()), Sign(HashOf("abc"))); }

TEST_F(CPSignHashTest, WithoutTheIdentifierTheDigestAloneIsSigned) {
  EXPECT_EQ(Signed(kDigest), Sign(HashOf("abc"), CRYPT_NOHASHOID));
}

TEST_F(CPSignHashTest, TheRoadOfOneSignatureIsTheseCalls) {
  const HCRYPTHASH hash = HashOf("abc");
  m_module.ForgetCalls();
  Sign(hash);
  EXPECT_EQ(
      (Calls{"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 20)", "C_Logout(1)",
             "C_LoginExtended(1, user 1, 1234)", "C_SignInit(1, CKM_RSA_PKCS, 2)", "C_Sign(1, 35 bytes, room 128)"}),
      m_module.TakeCalls());
}

TEST_F(CPSignHashTest, ASuccessIsLogged) {
  const HCRYPTHASH hash = HashOf("abc");
  DWORD length = 0;
  EXPECT_TRUE(CPSignHash(m_provider, hash, AT_SIGNATURE, nullptr, CRYPT_NOHASHOID, nullptr, &length));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(128U, length);
  const std::string log = TakeLog();
  EXPECT_THAT(log, HasSubstr(FrameLines("CPSignHash") + Value("\tdwKeySpec: \t", "00000002") +
                             Value("\tszDescription: \t", "00000000") + Value("\tdwFlags: \t", "00000001") +
                             Value("\tpbSignature: \t", "00000000") + Value("\tpcbSigLen: \t", "00000000")));
  EXPECT_THAT(log, HasSubstr(Line("\nRetrieving Raw Hash Data") + Value("\nHash Length ", "14") +
                             "Hash Value 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n" +
                             Line("\nInitializing PIN cache")));
  EXPECT_THAT(log, EndsWith(Line("TELVOCSPContext::Sign Post Signing") + Line("\nCPSignHash Success")));
}

TEST_F(CPSignHashTest, AKeySpecOfZeroPasses) {
  DWORD length = 0;
  EXPECT_TRUE(CPSignHash(m_provider, HashOf("abc"), 0, nullptr, 0, nullptr, &length));
}

TEST_F(CPSignHashTest, AnotherKeySpecIsNoKey) {
  DWORD length = 0;
  EXPECT_FALSE(CPSignHash(m_provider, HashOf("abc"), 3, nullptr, 0, nullptr, &length));
  EXPECT_EQ(0x8009000DU, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Invalid dwKeySpec!!")));
}

TEST_F(CPSignHashTest, OtherFlagsAreRefusedWhenTheHashIsFinished) {
  const HCRYPTHASH hash = HashOf("abc");
  DWORD length = 0;
  EXPECT_FALSE(CPSignHash(m_provider, hash, 1, nullptr, 2, nullptr, &length));
  EXPECT_EQ(0x80090009U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nCPSignHash Error: Invalid dwFlags")));
  EXPECT_FALSE(CPHashData(m_provider, hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_HASH_STATE), GetLastError());
}

TEST_F(CPSignHashTest, AValueThatWasSetIsSignedWithoutADigestOfTheToken) {
  HCRYPTHASH hash = 0;
  ASSERT_TRUE(CPCreateHash(m_provider, CALG_SHA1, 0, 0, &hash));
  const Bytes value = Counting(20, 1);
  ASSERT_TRUE(CPSetHashParam(m_provider, hash, HP_HASHVAL, value.data(), 0));
  m_module.ForgetCalls();
  EXPECT_EQ(Signed(value), Sign(hash, CRYPT_NOHASHOID));
  EXPECT_EQ((Calls{"C_Logout", "C_LoginExtended", "C_SignInit", "C_Sign"}), m_module.TakeCallNames());
}

TEST_F(CPSignHashTest, TheSsl3ConcatenationIsSignedWithoutAPrefix) {
  Bytes both = {0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0};  // MD5 first
  both.insert(both.end(), kDigest.begin(), kDigest.end());
  EXPECT_EQ(Signed(both), Sign(HashOf("abc", CALG_SSL3_SHAMD5)));
}

TEST_F(CPSignHashTest, UnknownHandlesAreBad) {
  DWORD length = 0;
  EXPECT_FALSE(CPSignHash(HCRYPTPROV{1} << 40U, 1, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(0x80090001U, GetLastError());
  EXPECT_FALSE(CPSignHash(m_provider, 1, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(0x80090002U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Hash not found in this context")));
}

TEST_F(CPSignHashTest, AModulesFailureIsNteFail) {
  const HCRYPTHASH hash = HashOf("abc");
  m_module.FailNext("C_SignInit", CKR_DEVICE_REMOVED);
  EXPECT_EQ(Bytes(), Sign(hash));
  EXPECT_EQ(0x80090020U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line(ErrorText(CKR_DEVICE_REMOVED))));
}

TEST_F(CPSignHashTest, ALengthIsRequired) {
  EXPECT_FALSE(CPSignHash(m_provider, HashOf("abc"), 1, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(87U, GetLastError());
}

using CPVerifySignatureTest = SignatureEntryTest;

TEST_F(CPVerifySignatureTest, ASignatureMadeHereIsAcceptedAndLogged) {
  const HCRYPTHASH hash = HashOf("abc");
  const Bytes signature = Sign(hash);
  TakeLog();
  EXPECT_TRUE(Verify(hash, signature));
  EXPECT_EQ(0U, GetLastError());
  const std::string log = TakeLog();
  EXPECT_THAT(log, HasSubstr(FrameLines("CPVerifySignature") + Value("\tdwFlags: \t", "00000000") +
                             Value("\tSigLen: \t", "00000080")));
  EXPECT_THAT(log, EndsWith(Line("\nCPVerifySignature Success")));
}

TEST_F(CPVerifySignatureTest, AnUnfinishedHashIsFinished) { EXPECT_TRUE(Verify(HashOf("abc"), Signed(WithPrefix()))); }

TEST_F(CPVerifySignatureTest, FlagsOneAndThreeVerifyTheDigestAlone) {
  EXPECT_TRUE(Verify(HashOf("abc"), Signed(kDigest), 1));
  EXPECT_TRUE(Verify(HashOf("abc"), Signed(kDigest), 3));
  EXPECT_FALSE(Verify(HashOf("abc"), Signed(kDigest), 2));
}

TEST_F(CPVerifySignatureTest, AWrongSignatureIsBad) {
  EXPECT_FALSE(Verify(HashOf("abd"), Signed(WithPrefix())));
  EXPECT_EQ(0x80090006U, GetLastError());
}

TEST_F(CPVerifySignatureTest, ADescriptionIsRefusedFirst) {
  EXPECT_FALSE(CPVerifySignature(m_provider, 0, nullptr, 0, 0, L"text", 0));
  EXPECT_EQ(87U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nCPVerifySignature Error: Description is not NULL")));
}

TEST_F(CPVerifySignatureTest, HashAndKeyOfZeroAreABadHash) {
  EXPECT_FALSE(CPVerifySignature(m_provider, 0, nullptr, 0, 0, nullptr, 0));
  EXPECT_EQ(0x80090002U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nCPVerifySignature Error: pHash is NULL")));
}

TEST_F(CPVerifySignatureTest, AKeyOfZeroIsABadKey) {
  EXPECT_FALSE(CPVerifySignature(m_provider, 1, nullptr, 0, 0, nullptr, 0));
  EXPECT_EQ(0x80090003U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nCPVerifySignature Error: Invalid Public Key")));
}

TEST_F(CPVerifySignatureTest, ASignatureIsRequired) {
  const BYTE signature[] = {1};
  EXPECT_FALSE(CPVerifySignature(m_provider, 1, nullptr, 1, 1, nullptr, 0));
  EXPECT_EQ(87U, GetLastError());
  EXPECT_FALSE(CPVerifySignature(m_provider, 1, signature, 0, 1, nullptr, 0));
  EXPECT_EQ(87U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nCPVerifySignature Error: The Signature to Verify is set to NULL or the "
                                       "Signature Length is 0")));
}

TEST_F(CPVerifySignatureTest, AKeyThatNobodyImportedIsNotFound) {
  const BYTE signature[] = {1};
  const HCRYPTHASH hash = HashOf("abc");
  EXPECT_FALSE(CPVerifySignature(m_provider, hash, signature, 1, HCRYPTKEY{0x01FFFFFF}, nullptr, 0));
  EXPECT_EQ(0x8009000DU, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line("Key was not found in Imported Public Key List")));
}

TEST_F(CPVerifySignatureTest, BothKeyHandlesAreTheContainersPair) {
  const Bytes signature = Signed(WithPrefix());
  const Bytes turned(signature.rbegin(), signature.rend());
  EXPECT_TRUE(CPVerifySignature(m_provider, HashOf("abc"), turned.data(), 128,
                                g_contextList.FindContext(m_provider)->GetExchangeKeyHandle(), nullptr, 0));
}

}  // namespace
