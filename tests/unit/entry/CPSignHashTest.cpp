// Signing and verifying hashes. The scripted module's results can be read (tests/support/ScriptedCrypto.cpp).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EntryTest.h"
#include "KeyBlobBytes.h"
#include "KeyLines.h"
#include "common/FormatNumber.h"
#include "cryptoki/CryptokiError.h"
#include "entry/CCSPContextList.h"
#include "objects/CCSPHash.h"

namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

constexpr HCRYPTKEY kUpperBit = HCRYPTKEY{1} << 32U;

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
    SetLastError(4711);
    return hash;
  }

  // The signature turned back into the module's order; empty after a failure.
  Bytes Sign(HCRYPTHASH hash, DWORD flags = 0) {
    Bytes signature(128);
    DWORD length = 128;
    if (CPSignHash(m_provider, hash, AT_KEYEXCHANGE, nullptr, flags, signature.data(), &length) == FALSE) return {};
    EXPECT_EQ(128U, length);
    return Reversed(signature);
  }

  BOOL Verify(HCRYPTHASH hash, const Bytes& signature, DWORD flags = 0) {
    const Bytes turned = Reversed(signature);
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

  static std::string Hex8(std::uint64_t number) { return FormatNumber("%08X", static_cast<DWORD>(number)); }
  // What computing the SHA-1 digest of "abc" logs.
  static std::string DigestLines() {
    return "Data to be hashed: 61 62 63 \nHash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n";
  }
  static std::string LoginLines() { return LoginBeginning() + Line("Log-in success"); }

  HCRYPTPROV m_provider = 0;
  const HCRYPTPROV m_unknown = HCRYPTPROV{1} << 40U;
};

// The scripted SHA-1 digest of "abc": the length, the message, zeros.
const Bytes kDigest = {0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
const Bytes kPrefix = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14};

Bytes WithPrefix() {
  Bytes data = kPrefix;
  data.insert(data.end(), kDigest.begin(), kDigest.end());
  return data;
}

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

TEST_F(CPSignHashTest, TheRoadOfOneSignatureIsTheseCalls) {
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

TEST_F(CPSignHashTest, TheSizeOfABareDigestsSignatureIsLoggedFromEndToEnd) {
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
    EXPECT_EQ(0x8009000DU, GetLastError());
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

TEST_F(CPSignHashTest, OtherFlagsAreRefusedWhenTheHashIsFinished) {
  const HCRYPTHASH hash = HashOf("abc");
  DWORD length = 0;
  EXPECT_FALSE(CPSignHash(m_provider, hash, 1, nullptr, 2, nullptr, &length));
  EXPECT_EQ(0x80090009U, GetLastError());
  EXPECT_EQ(Begin(1, 2, nullptr, 0) + DigestLines() + Line("\nCPSignHash Error: Invalid dwFlags"), TakeLog());
  EXPECT_EQ(1U, g_contextList.FindContext(m_provider)->GetHash(static_cast<DWORD>(hash))->IsFinished());
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
  DWORD length = 7;
  EXPECT_FALSE(CPSignHash(m_unknown, 1, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(0x80090001U, GetLastError());
  EXPECT_EQ(Begin(1, 0, nullptr, 7) + Line("The context does not exist"), TakeLog());
  EXPECT_FALSE(CPSignHash(m_provider, 1, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(0x80090002U, GetLastError());
  EXPECT_EQ(Begin(1, 0, nullptr, 7) + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPSignHashTest, AHashWithoutDataIsNotSigned) {
  const HCRYPTHASH hash = HashOf("");
  DWORD length = 7;
  EXPECT_FALSE(CPSignHash(m_provider, hash, 1, nullptr, 0, nullptr, &length));
  EXPECT_EQ(0x8009000CU, GetLastError());
  EXPECT_EQ(7U, length);
  EXPECT_EQ(Begin(1, 0, nullptr, 7) + Line("No Data was added to be hash"), TakeLog());
}

TEST_F(CPSignHashTest, AModulesFailureIsNteFail) {
  const HCRYPTHASH hash = HashOf("abc");
  m_module.FailNext("C_SignInit", CKR_DEVICE_REMOVED);
  EXPECT_EQ(Bytes(), Sign(hash));
  EXPECT_EQ(0x80090020U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(Line(ErrorText(CKR_DEVICE_REMOVED))));
}

TEST_F(CPSignHashTest, ALengthIsRequiredInThePlaceOfItsLine) {
  EXPECT_FALSE(CPSignHash(m_provider, HashOf("abc"), 3, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(87U, GetLastError());
  EXPECT_EQ(FrameLines("CPSignHash") + Value("\tdwKeySpec: \t", "00000003") + Value("\tszDescription: \t", "00000000") +
                Value("\tdwFlags: \t", "00000000") + Value("\tpbSignature: \t", "00000000") +
                Line("\nCPSignHash Error: pcbSigLen is NULL"),
            TakeLog());
}

class CPVerifySignatureTest : public SignatureEntryTest {
 protected:
  static std::string Begin(DWORD flags, DWORD length) {
    return FrameLines("CPVerifySignature") + Value("\tdwFlags: \t", Hex8(flags)) + Value("\tSigLen: \t", Hex8(length));
  }
  // The call is refused before a context is looked for.
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

TEST_F(CPVerifySignatureTest, TheLowestFlagAloneDecidesWhatIsVerified) {
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
  EXPECT_EQ(0x80090006U, GetLastError());
  EXPECT_THAT(TakeLog(), EndsWith(LoginLines() + Line(ErrorText(CKR_SIGNATURE_INVALID))));
}

TEST_F(CPVerifySignatureTest, ADescriptionIsRefusedFirst) {
  ExpectRefusedAtOnce(87, "\nCPVerifySignature Error: Description is not NULL", 0, 0, nullptr, 0, L"text");
}

TEST_F(CPVerifySignatureTest, HashAndKeyOfZeroAreABadHash) {
  ExpectRefusedAtOnce(0x80090002, "\nCPVerifySignature Error: pHash is NULL", 0, 0, nullptr, 0);
}

TEST_F(CPVerifySignatureTest, AKeyOfZeroIsABadKey) {
  ExpectRefusedAtOnce(0x80090003, "\nCPVerifySignature Error: Invalid Public Key", 1, 0, nullptr, 0);
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
  EXPECT_EQ(0x80090001U, GetLastError());
  EXPECT_EQ(Begin(0, 1) + Line("The context does not exist"), TakeLog());
  EXPECT_FALSE(CPVerifySignature(m_provider, 1, signature, 1, 1, nullptr, 0));
  EXPECT_EQ(0x80090002U, GetLastError());
  EXPECT_EQ(Begin(0, 1) + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPVerifySignatureTest, AKeyThatNobodyImportedIsNotFoundAndTheHashStaysOpen) {
  const BYTE signature[] = {1};
  const HCRYPTHASH hash = HashOf("abc");
  EXPECT_FALSE(CPVerifySignature(m_provider, hash, signature, 1, HCRYPTKEY{0x01FFFFFF}, nullptr, 0));
  EXPECT_EQ(0x8009000DU, GetLastError());
  EXPECT_EQ(Begin(0, 1) + Line("Key was not found in Imported Public Key List"), TakeLog());
  EXPECT_EQ(0U, g_contextList.FindContext(m_provider)->GetHash(static_cast<DWORD>(hash))->IsFinished());
}

TEST_F(CPVerifySignatureTest, AnImportedKeyVerifiesWithItself) {
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

TEST_F(CPVerifySignatureTest, AHandleOfThePairWithAnUpperBitIsNotThePairs) {
  const Bytes signature = Reversed(Signed(WithPrefix()));
  const auto context = g_contextList.FindContext(m_provider);
  for (const HCRYPTKEY key : {context->GetSignatureKeyHandle(), context->GetExchangeKeyHandle()}) {
    EXPECT_FALSE(CPVerifySignature(m_provider, HashOf("abc"), signature.data(), 128, key | kUpperBit, nullptr, 0));
    EXPECT_EQ(0x8009000DU, GetLastError());
  }
}

TEST_F(CPVerifySignatureTest, OfAnImportedKeysHandleTheUpperBitsDoNotCount) {
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(128, 0x81));
  HCRYPTKEY key = 0;
  ASSERT_TRUE(CPImportKey(m_provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  const Bytes signature = Reversed(Signed(WithPrefix()));
  EXPECT_TRUE(CPVerifySignature(m_provider, HashOf("abc"), signature.data(), 128, key | kUpperBit, nullptr, 0));
}

TEST_F(CPVerifySignatureTest, BothKeyHandlesAreTheContainersPair) {
  const Bytes signature = Reversed(Signed(WithPrefix()));
  EXPECT_TRUE(CPVerifySignature(m_provider, HashOf("abc"), signature.data(), 128,
                                g_contextList.FindContext(m_provider)->GetExchangeKeyHandle(), nullptr, 0));
}

}  // namespace
