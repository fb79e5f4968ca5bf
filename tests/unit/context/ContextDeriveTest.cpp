// Session keys derived from hashes. A digest of the scripted module is the message's length in four bytes, then the
// message.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyTest.h"
#include "module/KeyBlobBytes.h"
#include "module/WaitingLogin.h"
#include "objects/CCSPHashFactory.h"

namespace {

class ContextDeriveTest : public KeyTest {
 protected:
  boost::shared_ptr<CCSPHash> HashOf(const std::string& message, ALG_ID algorithm) {
    auto hash = m_hashes.CreateHash(algorithm, m_context.GetSession());
    const Bytes bytes = Text(message);
    hash->AddData(bytes.data(), static_cast<DWORD>(bytes.size()));
    return hash;
  }
  boost::shared_ptr<CCSPSecretKey> Derive(const boost::shared_ptr<CCSPHash>& hash, ALG_ID algorithm, DWORD length) {
    return m_context.DeriveKey(hash, algorithm, length, &m_factory);
  }
  Bytes ValueOfKey(const std::string& message, ALG_ID hash, ALG_ID algorithm, DWORD length) {
    return ValueOf(*Derive(HashOf(message, hash), algorithm, length));
  }

  CCSPHashFactory m_hashes;
};

TEST_F(ContextDeriveTest, AKeyIsTheBeginningOfTheHashValue) {
  BindToNewContainer();
  EXPECT_EQ((Bytes{0, 0, 0, 5, 'h', 'e', 'l'}), ValueOfKey("hello", CALG_SHA1, CALG_DES, 7));
}

TEST_F(ContextDeriveTest, DerivingAKeyOnlyDigestsAndCreatesTheObject) {
  BindToNewContainer();
  const auto hash = HashOf("hello", CALG_SHA1);
  Forget();
  Derive(hash, CALG_DES, 7);
  EXPECT_EQ((Calls{"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 5 bytes, null)", "C_Digest(1, 5 bytes, room 20)",
                   CreationCall("19", "0000000568656C")}),
            m_module.TakeCalls());
  EXPECT_EQ(
      "Data to be hashed: 68 65 6C 6C 6F \n"
      "Hash result: 00 00 00 05 68 65 6C 6C 6F 00 00 00 00 00 00 00 00 00 00 00 \n" +
          CreationLines(),
      TakeLog());
}

TEST_F(ContextDeriveTest, ADerivedKeyBelongsToTheContextAndMayBeExported) {
  BindToNewContainer();
  const auto key = Derive(HashOf("hello", CALG_SHA1), CALG_DES, 7);
  EXPECT_EQ(key, m_context.GetSecretKey(key->GetKeyID()));
  EXPECT_EQ(1U, key->GetPermissions());
  EXPECT_EQ(ALG_ID{CALG_DES}, key->GetAlgID());
}

TEST_F(ContextDeriveTest, NoOtherThreadLogsTheTokenOutWhileTheObjectIsCreated) {
  BindToNewContainer();
  const auto hash = HashOf("hello", CALG_SHA1);
  WaitingLogin login(m_module, "C_CreateObject");
  Derive(hash, CALG_DES, 7);
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(ContextDeriveTest, DerivingAKeyFinishesTheHash) {
  BindToNewContainer();
  const auto hash = HashOf("hello", CALG_SHA1);
  Derive(hash, CALG_DES, 7);
  EXPECT_EQ(1U, hash->IsFinished());
}

// 64 bytes of `filling`. The hash value is combined with the first of them by exclusive or.
Bytes Pad(BYTE filling, const Bytes& value) {
  Bytes pad(64, filling);
  for (std::size_t i = 0; i < value.size(); ++i) pad[i] = static_cast<BYTE>(pad[i] ^ value[i]);
  return pad;
}

// The scripted digest of such a pad.
Bytes DigestOfPad(const Bytes& pad, std::size_t length) {
  return Joined({0, 0, 0, 64}, Bytes(pad.begin(), pad.begin() + static_cast<std::ptrdiff_t>(length) - 4));
}

TEST_F(ContextDeriveTest, ATripleDesKeyFromSha1IsTheDigestsOfTwoPads) {
  BindToNewContainer();
  const Bytes value = {0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes both = Joined(DigestOfPad(Pad(0x36, value), 20), DigestOfPad(Pad(0x5C, value), 20));
  EXPECT_EQ(Bytes(both.begin(), both.begin() + 24), ValueOfKey("abc", CALG_SHA1, CALG_3DES, 24));
}

TEST_F(ContextDeriveTest, ThePadsAndTheirDigestsAreExact) {
  BindToNewContainer();
  const auto hash = HashOf("abc", CALG_MD5);
  Forget();
  EXPECT_EQ((Bytes{0, 0, 0, 64, 0x36, 0x36, 0x36, 0x35, 0x57, 0x54, 0x55, 0x36, 0x36, 0x36, 0x36, 0x36,
                   0, 0, 0, 64, 0x5C, 0x5C, 0x5C, 0x5F, 0x3D, 0x3E, 0x3F, 0x5C, 0x5C, 0x5C, 0x5C, 0x5C}),
            ValueOf(*Derive(hash, CALG_3DES, 32)));
  Calls calls = m_module.TakeCalls();
  calls.pop_back();
  EXPECT_EQ((Calls{"C_DigestInit(1, CKM_MD5)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 16)",
                   "C_DigestInit(1, CKM_MD5)", "C_Digest(1, 64 bytes, null)", "C_Digest(1, 64 bytes, room 16)",
                   "C_DigestInit(1, CKM_MD5)", "C_Digest(1, 64 bytes, null)", "C_Digest(1, 64 bytes, room 16)"}),
            calls);
  EXPECT_EQ(
      "Data to be hashed: 61 62 63 \n"
      "Hash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 \n"
      "Data to be hashed: 36 36 36 35 57 54 55 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 "
      "36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 36 \n"
      "Hash result: 00 00 00 40 36 36 36 35 57 54 55 36 36 36 36 36 \n"
      "Data to be hashed: 5C 5C 5C 5F 3D 3E 3F 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C "
      "5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C 5C \n"
      "Hash result: 00 00 00 40 5C 5C 5C 5F 3D 3E 3F 5C 5C 5C 5C 5C \n" +
          CreationLines(),
      TakeLog());
}

struct PlainCase {
  const char* name;
  ALG_ID hash;
  ALG_ID algorithm;
};

class PlainHashTest : public ContextDeriveTest, public ::testing::WithParamInterface<PlainCase> {};

TEST_P(PlainHashTest, IsUsedWithoutPads) {
  BindToNewContainer();
  EXPECT_EQ((Bytes{0, 0, 0, 3, 'a', 'b', 'c', 0}), ValueOfKey("abc", GetParam().hash, GetParam().algorithm, 8));
}

constexpr PlainCase kPlain[] = {
    {"DesFromSha1", CALG_SHA1, CALG_DES},
    {"TwoKeyTripleDesFromMd5", CALG_MD5, CALG_3DES_112},
    {"Aes128FromSha1", CALG_SHA1, CALG_AES_128},
    {"TripleDesFromSha256", CALG_SHA_256, CALG_3DES},
    {"TripleDesFromSha512", CALG_SHA_512, CALG_3DES},
    {"TripleDesFromSsl3", CALG_SSL3_SHAMD5, CALG_3DES},
};

INSTANTIATE_TEST_SUITE_P(Algorithms, PlainHashTest, ::testing::ValuesIn(kPlain),
                         [](const auto& row) { return row.param.name; });

TEST_F(ContextDeriveTest, BytesBeyondTheHashAreZero) {
  BindToNewContainer();
  Bytes expected = {0, 0, 0, 3, 'a', 'b', 'c'};
  expected.resize(100);
  EXPECT_EQ(expected, ValueOfKey("abc", CALG_SHA1, CALG_DES, 100));
}

TEST_F(ContextDeriveTest, BytesBeyondTheTwoDigestsAreZero) {
  BindToNewContainer();
  const Bytes value = ValueOfKey("abc", CALG_MD5, CALG_3DES, 100);
  EXPECT_EQ(100U, value.size());
  EXPECT_EQ(0x5C, value[31]);
  EXPECT_EQ(Bytes(68, 0), Bytes(value.begin() + 32, value.end()));
}

TEST_F(ContextDeriveTest, AKeyOfNoBytesHasNoValue) {
  BindToNewContainer();
  Derive(HashOf("abc", CALG_SHA1), CALG_DES, 0);
  EXPECT_EQ(CreationCall("19", "null of 0"), m_module.TakeCalls().back());
}

TEST_F(ContextDeriveTest, AHashValueThatWasSetReplacesTheDigest) {
  BindToNewContainer();
  const auto hash = m_hashes.CreateHash(CALG_SHA1, m_context.GetSession());
  const Bytes value = Counting(100, 1);  // also longer than a pad
  hash->SetHash(value.data(), 100);
  EXPECT_EQ(Counting(8, 1), ValueOf(*Derive(hash, CALG_DES, 8)));
  EXPECT_NO_THROW(Derive(hash, CALG_3DES, 24));
}

TEST_F(ContextDeriveTest, AesIsRefusedAfterItsPadsAreDigested) {
  BindToNewContainer();
  const auto hash = HashOf("abc", CALG_SHA1);
  Forget();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Invalid Secret Key Algorithm ID", Derive(hash, CALG_AES, 16));
  EXPECT_EQ(9U, m_module.TakeCalls().size());
}

TEST_F(ContextDeriveTest, AHashWithoutDataIsABadHashState) {
  BindToNewContainer();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "No Data was added to be hash",
                       Derive(m_hashes.CreateHash(CALG_SHA1, m_context.GetSession()), CALG_DES, 7));
}

TEST_F(ContextDeriveTest, AFailedDigestIsNteFailWithTheHashsMessage) {
  BindToNewContainer();
  const auto hash = HashOf("abc", CALG_SHA1);
  m_module.FailOnCall("C_DigestInit", 3, CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Failed to Initialize Hash Operation", Derive(hash, CALG_3DES, 21));
}

TEST_F(ContextDeriveTest, AnObjectThatTheModuleRefusesIsNteFailWithTheModulesMessage) {
  BindToNewContainer();
  m_module.FailNext("C_CreateObject", CKR_ATTRIBUTE_VALUE_INVALID);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_ATTRIBUTE_VALUE_INVALID),
                       Derive(HashOf("abc", CALG_SHA1), CALG_DES, 7));
  EXPECT_EQ(0U, m_factory.Count());
}

}  // namespace
