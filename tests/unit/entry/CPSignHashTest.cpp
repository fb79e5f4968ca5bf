// Signing hashes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SignatureEntryTest.h"
#include "cryptoki/CryptokiError.h"
#include "fixtures/ErrorCodes.h"
#include "objects/CCSPHash.h"

namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

class CPSignHashTest : public SignatureEntryTest {
 protected:
  static std::string Begin(DWORD keySpec, DWORD flags, const void* signature, DWORD length) {
    return FrameLines("CPSignHash") + Value("\tdwKeySpec: \t", Hex8(keySpec)) +
           Value("\tszDescription: \t", "00000000") + Value("\tdwFlags: \t", Hex8(flags)) +
           Value("\tpbSignature: \t", Hex8(reinterpret_cast<std::uintptr_t>(signature))) +
           Value("\tpcbSigLen: \t", Hex8(length));
  }
  static std::string Ending() {
    return LoginLines() + Line("TELVOCSPContext::Sign Initialze Signing") + Line("TELVOCSPContext::Sign Pre Signing") +
           Line("TELVOCSPContext::Sign Post Signing") + Line("\nCPSignHash Success");
  }
};

TEST_F(CPSignHashTest, PrefixAndDigestAreSigned) { EXPECT_EQ(Signed(WithPrefix()), Sign(HashOf("abc"))); }

TEST_F(CPSignHashTest, WithoutTheIdentifierTheDigestAloneIsSigned) {
  EXPECT_EQ(Signed(kDigest), Sign(HashOf("abc"), CRYPT_NOHASHOID));
}

TEST_F(CPSignHashTest, OneSignatureMakesTheseCalls) {
  const HCRYPTHASH hash = HashOf("abc");
  m_module.ForgetCalls();
  Sign(hash);
  EXPECT_EQ(
      (Calls{"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 20)", "C_Logout(1)",
             "C_LoginExtended(1, user 1, 1234)", "C_SignInit(1, CKM_RSA_PKCS, 2)", "C_Sign(1, 35 bytes, room 128)"}),
      m_module.TakeCalls());
}

TEST_F(CPSignHashTest, ASuccessIsLoggedFromEndToEnd) {
  const HCRYPTHASH hash = HashOf("abc");
  Bytes signature(128);
  DWORD length = 128;
  EXPECT_TRUE(CPSignHash(m_provider, hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &length));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Begin(1, 0, signature.data(), 128) + DigestLines() + Line("\nRetrieving Raw Hash Data and OID") +
                Value("\nHash Length ", "23") +
                "Hash Value 30 21 30 09 06 05 2B 0E 03 02 1A 05 00 04 14 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 "
                "00 00 00 00 00 \n" +
                Ending(),
            TakeLog());
}

TEST_F(CPSignHashTest, AskingForTheSizeOfABareDigestsSignatureIsLoggedFromEndToEnd) {
  const HCRYPTHASH hash = HashOf("abc");
  DWORD length = 0;
  EXPECT_TRUE(CPSignHash(m_provider, hash, AT_SIGNATURE, nullptr, CRYPT_NOHASHOID, nullptr, &length));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(128U, length);
  EXPECT_EQ(Begin(2, 1, nullptr, 0) + DigestLines() + Line("\nRetrieving Raw Hash Data") +
                Value("\nHash Length ", "14") +
                "Hash Value 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n" + Ending(),
            TakeLog());
}

TEST_F(CPSignHashTest, ADescriptionIsLoggedAndNotRead) {
  const HCRYPTHASH hash = HashOf("abc");
  const auto nowhere = reinterpret_cast<LPCWSTR>(std::uintptr_t{0x123456789A});
  Bytes signature(128);
  DWORD length = 128;
  EXPECT_TRUE(CPSignHash(m_provider, hash, AT_KEYEXCHANGE, nowhere, 0, signature.data(), &length));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Signed(WithPrefix()), Reversed(signature));
  EXPECT_THAT(TakeLog(), StartsWith(FrameLines("CPSignHash") + Value("\tdwKeySpec: \t", "00000001") +
                                    Value("\tszDescription: \t", "3456789A") + Value("\tdwFlags: \t", "00000000")));
}

TEST_F(CPSignHashTest, AKeySpecOfZeroPasses) {
  DWORD length = 0;
  EXPECT_TRUE(CPSignHash(m_provider, HashOf("abc"), 0, nullptr, 0, nullptr, &length));
}

TEST_F(CPSignHashTest, AnotherKeySpecIsNoKeyBeforeTheContextIsLookedUp) {
  for (const DWORD keySpec : {3U, 4U, 0x80000001U}) {
    DWORD length = 7;
    SetLastError(4711);
    EXPECT_FALSE(CPSignHash(m_unknown, 1, keySpec, nullptr, 2, nullptr, &length)) << keySpec;
    EXPECT_EQ(Code(NTE_NO_KEY), GetLastError());
    EXPECT_EQ(7U, length);
    EXPECT_EQ(Begin(keySpec, 2, nullptr, 7) + Line("Invalid dwKeySpec!!"), TakeLog());
  }
}

TEST_F(CPSignHashTest, TheKeySpecDoesNotChooseTheKey) {
  const HCRYPTHASH hash = HashOf("abc");
  for (const DWORD keySpec : {0U, 1U, 2U}) {
    Bytes signature(128);
    DWORD length = 128;
    m_module.ForgetCalls();
    EXPECT_TRUE(CPSignHash(m_provider, hash, keySpec, nullptr, 0, signature.data(), &length));
    EXPECT_EQ(Reversed(Signed(WithPrefix())), signature);
  }
}

TEST_F(CPSignHashTest, OtherFlagsAreRefusedAfterTheHashIsFinished) {
  const HCRYPTHASH hash = HashOf("abc");
  DWORD length = 0;
  EXPECT_FALSE(CPSignHash(m_provider, hash, 1, nullptr, 2, nullptr, &length));
  EXPECT_EQ(Code(NTE_BAD_FLAGS), GetLastError());
  EXPECT_EQ(Begin(1, 2, nullptr, 0) + DigestLines() + Line("\nCPSignHash Error: Invalid dwFlags"), TakeLog());
  EXPECT_EQ(1U, g_contextList.FindContext(m_provider)->GetHash(static_cast<DWORD>(hash))->IsFinished());
  EXPECT_FALSE(CPHashData(m_provider, hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_HASH_STATE), GetLastError());
}

TEST_F(CPSignHashTest, AHashValueThatWasSetIsSignedWithoutADigestByTheToken) {
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
  DWORD length = 7;
  EXPECT_FALSE(CPSignHash(m_unknown, 1, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(Code(NTE_BAD_UID), GetLastError());
  EXPECT_EQ(Begin(1, 0, nullptr, 7) + Line("The context does not exist"), TakeLog());
  EXPECT_FALSE(CPSignHash(m_provider, 1, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(Code(NTE_BAD_HASH), GetLastError());
  EXPECT_EQ(Begin(1, 0, nullptr, 7) + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPSignHashTest, AHashWithoutDataIsNotSigned) {
  const HCRYPTHASH hash = HashOf("");
  DWORD length = 7;
  EXPECT_FALSE(CPSignHash(m_provider, hash, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(Code(NTE_BAD_HASH_STATE), GetLastError());
  EXPECT_EQ(7U, length);
  EXPECT_EQ(Begin(1, 0, nullptr, 7) + Line("No Data was added to be hash"), TakeLog());
}

TEST_F(CPSignHashTest, AModuleErrorIsNteFail) {
  const HCRYPTHASH hash = HashOf("abc");
  m_module.FailNext("C_SignInit", CKR_DEVICE_REMOVED);
  EXPECT_EQ(Bytes(), Sign(hash));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line(ErrorText(CKR_DEVICE_REMOVED))));
}

TEST_F(CPSignHashTest, ABufferThatIsTooSmallIsNteFail) {
  const HCRYPTHASH hash = HashOf("abc");
  Bytes signature(5);
  DWORD length = 5;
  EXPECT_FALSE(CPSignHash(m_provider, hash, AT_SIGNATURE, nullptr, 0, signature.data(), &length));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_EQ(Bytes(5), signature);
  EXPECT_THAT(TakeLog(), EndsWith(Line(ErrorText(CKR_BUFFER_TOO_SMALL))));
}

TEST_F(CPSignHashTest, ANullLengthIsInvalidAndItsErrorReplacesTheLengthLine) {
  EXPECT_FALSE(CPSignHash(m_provider, HashOf("abc"), 3, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(Code(ERROR_INVALID_PARAMETER), GetLastError());
  EXPECT_EQ(FrameLines("CPSignHash") + Value("\tdwKeySpec: \t", "00000003") + Value("\tszDescription: \t", "00000000") +
                Value("\tdwFlags: \t", "00000000") + Value("\tpbSignature: \t", "00000000") +
                Line("\nCPSignHash Error: pcbSigLen is NULL"),
            TakeLog());
}

}  // namespace
