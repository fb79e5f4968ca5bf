// RSA, digests and MACs, checked against OpenSSL.
#include "ProviderTemplates.h"
#include "TokenTest.h"
#include "Verifier.h"

namespace softtoken::testing {
namespace {

class RsaTest : public LoggedInTokenTest {
 protected:
  void SetUp() override {
    LoggedInTokenTest::SetUp();
    pair = GenerateKeyPair(session, 2048);
    judge = std::make_unique<PublicKey>(Read(session, pair.publicKey, CKA_MODULUS),
                                        Read(session, pair.publicKey, CKA_PUBLIC_EXPONENT));
  }

  KeyPair pair;
  std::unique_ptr<PublicKey> judge;
  const std::string message = "what is signed";
};

TEST_F(RsaTest, OpenSslVerifiesASignatureOfADigestInfo) {
  const std::string info = FromHex("3031300d060960864801650304020105000420") + Digest("SHA256", message);
  const std::string signature = Sign(session, {CKM_RSA_PKCS, nullptr, 0}, pair.privateKey, info);
  EXPECT_TRUE(judge->Verify("SHA256", false, message, signature));
  EXPECT_FALSE(judge->Verify("SHA256", false, message + "!", signature));
}

struct SignatureCase {
  const char* digest;
  CK_MECHANISM_TYPE mechanism, hash;
  CK_RSA_PKCS_MGF_TYPE mask;  // 0: PKCS#1
  CK_ULONG salt;
};

void PrintTo(const SignatureCase& test, std::ostream* out) { *out << test.digest << (test.mask == 0 ? "Pkcs" : "Pss"); }

class SignatureTest : public RsaTest, public ::testing::WithParamInterface<SignatureCase> {};

TEST_P(SignatureTest, IsVerified) {
  const SignatureCase& row = GetParam();
  CK_RSA_PKCS_PSS_PARAMS parameters = {row.hash, row.mask, row.salt};
  const bool pss = row.mask != 0;
  const CK_MECHANISM mechanism = {row.mechanism, pss ? &parameters : nullptr, pss ? sizeof parameters : 0};
  const std::string signature = Sign(session, mechanism, pair.privateKey, message);
  EXPECT_TRUE(judge->Verify(row.digest, pss, message, signature));
  EXPECT_EQ(CKR_OK, Verify(session, mechanism, pair.publicKey, message, signature));
  std::string broken = signature;
  broken[100] = static_cast<char>(broken[100] ^ 1);
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(session, mechanism, pair.publicKey, message, broken));
}

const SignatureCase kSignatures[] = {
    {"MD5", CKM_MD5_RSA_PKCS, 0, 0, 0},
    {"SHA1", CKM_SHA1_RSA_PKCS, 0, 0, 0},
    {"SHA224", CKM_SHA224_RSA_PKCS, 0, 0, 0},
    {"SHA256", CKM_SHA256_RSA_PKCS, 0, 0, 0},
    {"SHA384", CKM_SHA384_RSA_PKCS, 0, 0, 0},
    {"SHA512", CKM_SHA512_RSA_PKCS, 0, 0, 0},
    {"SHA1", CKM_SHA1_RSA_PKCS_PSS, CKM_SHA_1, CKG_MGF1_SHA1, 20},
    {"SHA224", CKM_SHA224_RSA_PKCS_PSS, CKM_SHA224, CKG_MGF1_SHA224, 28},
    {"SHA256", CKM_SHA256_RSA_PKCS_PSS, CKM_SHA256, CKG_MGF1_SHA256, 32},
    {"SHA384", CKM_SHA384_RSA_PKCS_PSS, CKM_SHA384, CKG_MGF1_SHA384, 48},
    {"SHA512", CKM_SHA512_RSA_PKCS_PSS, CKM_SHA512, CKG_MGF1_SHA512, 64},
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, SignatureTest, ::testing::ValuesIn(kSignatures),
                         [](const auto& test) { return ::testing::PrintToString(test.param); });

TEST_F(RsaTest, OpenSslVerifiesPssOfADigest) {
  CK_RSA_PKCS_PSS_PARAMS parameters = {CKM_SHA256, CKG_MGF1_SHA256, 32};
  const CK_MECHANISM mechanism = {CKM_RSA_PKCS_PSS, &parameters, sizeof parameters};
  const std::string signature = Sign(session, mechanism, pair.privateKey, Digest("SHA256", message));
  EXPECT_TRUE(judge->Verify("SHA256", true, message, signature));
}

struct OaepCase {
  const char* name;
  const char* digest;
  CK_MECHANISM_TYPE hash;
  const char* mask;
  CK_RSA_PKCS_MGF_TYPE maskType;
  const char* label;
};

void PrintTo(const OaepCase& test, std::ostream* out) { *out << test.name; }

class OaepTest : public RsaTest, public ::testing::WithParamInterface<OaepCase> {
 protected:
  void SetUp() override {
    RsaTest::SetUp();
    const OaepCase& row = GetParam();
    label = row.label;
    parameters = {row.hash, row.maskType, CKZ_DATA_SPECIFIED, label.empty() ? nullptr : label.data(), label.size()};
  }

  std::string label;
  CK_RSA_PKCS_OAEP_PARAMS parameters = {};
  CK_MECHANISM oaep = {CKM_RSA_PKCS_OAEP, &parameters, sizeof parameters};
};

TEST_P(OaepTest, DecryptsDataOfOpenSslAndOfTheToken) {
  const OaepCase& row = GetParam();
  EXPECT_EQ(message, Decrypt(session, oaep, pair.privateKey, judge->EncryptOaep(row.digest, row.mask, label, message)));
  EXPECT_EQ(message, Decrypt(session, oaep, pair.privateKey, Encrypt(session, oaep, pair.publicKey, message)));
  EXPECT_EQ("", Decrypt(session, oaep, pair.privateKey, Encrypt(session, oaep, pair.publicKey, "")));
}

const OaepCase kOaepCases[] = {
    {"Sha1", "SHA1", CKM_SHA_1, "SHA1", CKG_MGF1_SHA1, ""},
    {"Sha1Label", "SHA1", CKM_SHA_1, "SHA1", CKG_MGF1_SHA1, "a label"},
    {"Sha224", "SHA224", CKM_SHA224, "SHA224", CKG_MGF1_SHA224, ""},
    {"Sha256", "SHA256", CKM_SHA256, "SHA256", CKG_MGF1_SHA256, "ABC"},
    {"Sha384", "SHA384", CKM_SHA384, "SHA384", CKG_MGF1_SHA384, ""},
    {"Sha512WithSha1Mask", "SHA512", CKM_SHA512, "SHA1", CKG_MGF1_SHA1, ""},
    {"Sha1WithSha512Mask", "SHA1", CKM_SHA_1, "SHA512", CKG_MGF1_SHA512, ""},
};

INSTANTIATE_TEST_SUITE_P(Parameters, OaepTest, ::testing::ValuesIn(kOaepCases),
                         [](const auto& test) { return test.param.name; });

class OaepRulesTest : public RsaTest {
 protected:
  CK_RSA_PKCS_OAEP_PARAMS parameters = {CKM_SHA256, CKG_MGF1_SHA256, CKZ_DATA_SPECIFIED, nullptr, 0};
  CK_MECHANISM oaep = {CKM_RSA_PKCS_OAEP, &parameters, sizeof parameters};
};

TEST_F(OaepRulesTest, AskingForTheLengthDoesNotEndTheOperation) {
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &oaep, pair.publicKey));
  std::string data = message, encrypted(256, '\0'), plain(256, '\0');
  CK_ULONG length = 0;
  EXPECT_EQ(CKR_OK, f.C_Encrypt(session, BytesOf(data), data.size(), nullptr, &length));
  EXPECT_EQ(256u, length);
  length = 255;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_Encrypt(session, BytesOf(data), data.size(), BytesOf(encrypted), &length));
  EXPECT_EQ(256u, length);
  EXPECT_EQ(CKR_OK, f.C_Encrypt(session, BytesOf(data), data.size(), BytesOf(encrypted), &length));

  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &oaep, pair.privateKey));
  EXPECT_EQ(CKR_OK, f.C_Decrypt(session, BytesOf(encrypted), 256, nullptr, &length));
  EXPECT_EQ(256u - 2 * 32 - 2, length) << "the longest possible length";
  length = 3;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_Decrypt(session, BytesOf(encrypted), 256, BytesOf(plain), &length));
  EXPECT_EQ(message.size(), length);
  EXPECT_EQ(CKR_OK, f.C_Decrypt(session, BytesOf(encrypted), 256, nullptr, &length));
  EXPECT_EQ(message.size(), length);
  EXPECT_EQ(CKR_OK, f.C_Decrypt(session, BytesOf(encrypted), 256, BytesOf(plain), &length));
  EXPECT_EQ(message, plain.substr(0, length));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_Decrypt(session, BytesOf(encrypted), 256, BytesOf(plain), &length));
}

TEST_F(OaepRulesTest, AMessageThatIsTooLongEndsTheOperation) {
  std::string fits(190, 'x'), data(191, 'x'), encrypted(256, '\0');
  EXPECT_EQ(fits, Decrypt(session, oaep, pair.privateKey, Encrypt(session, oaep, pair.publicKey, fits)));
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &oaep, pair.publicKey));
  CK_ULONG length = encrypted.size();
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_Encrypt(session, BytesOf(data), data.size(), BytesOf(encrypted), &length));
  EXPECT_EQ(CKR_OK, f.C_EncryptInit(session, &oaep, pair.publicKey)) << "the session is free again";
}

TEST_F(OaepRulesTest, WrongPaddingIsRefused) {
  std::string encrypted = judge->EncryptOaep("SHA1", "SHA1", "", message), plain(256, '\0');
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &oaep, pair.privateKey));
  CK_ULONG length = plain.size();
  EXPECT_EQ(CKR_ENCRYPTED_DATA_INVALID, f.C_Decrypt(session, BytesOf(encrypted), 256, BytesOf(plain), &length));
  EXPECT_EQ(CKR_OK, f.C_DecryptInit(session, &oaep, pair.privateKey)) << "the session is free again";
}

TEST_F(OaepRulesTest, AnotherMechanismWorksAfterAFailedOperation) {
  std::string block(256, '\0');
  CK_ULONG length = block.size();
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &oaep, pair.publicKey));
  EXPECT_NE(CKR_OK, f.C_Decrypt(session, BytesOf(block), 256, BytesOf(block), &length)) << "nothing to decrypt";
  std::string tooLong(300, 'x');
  length = block.size();
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_Encrypt(session, BytesOf(tooLong), 300, BytesOf(block), &length));
  const CK_MECHANISM pkcs = {CKM_RSA_PKCS, nullptr, 0};
  EXPECT_EQ(message, Decrypt(session, pkcs, pair.privateKey, Encrypt(session, pkcs, pair.publicKey, message)));
}

TEST_F(OaepRulesTest, InvalidParametersAreRefused) {
  parameters.hashAlg = CKM_MD5;
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, f.C_EncryptInit(session, &oaep, pair.publicKey));
  parameters = {CKM_SHA_1, 99, CKZ_DATA_SPECIFIED, nullptr, 0};
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, f.C_EncryptInit(session, &oaep, pair.publicKey));
  parameters = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 5};
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, f.C_EncryptInit(session, &oaep, pair.publicKey));
  oaep.ulParameterLen = 3;
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, f.C_EncryptInit(session, &oaep, pair.publicKey));
  oaep.ulParameterLen = sizeof parameters;
  parameters = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 0};
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, f.C_EncryptInit(session, &oaep, aes));
}

// SoftHSM alone would end the process here.
TEST_F(RsaTest, BareDataThatIsTooLongEndsOnlyTheOperation) {
  CK_MECHANISM bare = {CKM_RSA_X_509, nullptr, 0};
  std::string data(257, 'x'), out(256, '\0');
  CK_ULONG length = out.size();
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &bare, pair.publicKey));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_Encrypt(session, BytesOf(data), data.size(), BytesOf(out), &length));
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &bare, pair.privateKey));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_Sign(session, BytesOf(data), data.size(), BytesOf(out), &length));
  ASSERT_EQ(CKR_OK, f.C_VerifyInit(session, &bare, pair.publicKey));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_Verify(session, BytesOf(data), data.size(), BytesOf(out), out.size()));
  EXPECT_EQ(256u, Sign(session, bare, pair.privateKey, std::string(256, '\1')).size());
  EXPECT_EQ(256u, Sign(session, {CKM_SHA256_RSA_PKCS, nullptr, 0}, pair.privateKey, data).size())
      << "a hashing mechanism has no such limit";
}

TEST_F(RsaTest, AMechanismForWholeDataRefusesParts) {
  CK_MECHANISM bare = {CKM_RSA_PKCS, nullptr, 0};
  std::string part = "part";
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &bare, pair.privateKey));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_SignUpdate(session, BytesOf(part), part.size()));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_SignUpdate(session, BytesOf(part), part.size()));
  ASSERT_EQ(CKR_OK, f.C_VerifyInit(session, &bare, pair.publicKey));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_VerifyUpdate(session, BytesOf(part), part.size()));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_VerifyUpdate(session, BytesOf(part), part.size()));
}

TEST_F(RsaTest, AfterAWholeSignatureNoOperationIsActive) {
  const CK_MECHANISM bare = {CKM_RSA_PKCS, nullptr, 0};
  std::string part = "part";
  const std::string signature = Sign(session, bare, pair.privateKey, message);
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_SignUpdate(session, BytesOf(part), part.size()));
  Verify(session, bare, pair.publicKey, message, signature);
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_VerifyUpdate(session, BytesOf(part), part.size()));
}

TEST_F(RsaTest, ASignatureInPartsIsValidForTheWholeMessage) {
  CK_MECHANISM mechanism = {CKM_SHA256_RSA_PKCS, nullptr, 0};
  std::string first = message.substr(0, 5);
  std::string second = message.substr(5);
  std::string signature(256, '\0');
  CK_ULONG length = signature.size();
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &mechanism, pair.privateKey));
  ASSERT_EQ(CKR_OK, f.C_SignUpdate(session, BytesOf(first), first.size()));
  ASSERT_EQ(CKR_OK, f.C_SignUpdate(session, BytesOf(second), second.size()));
  ASSERT_EQ(CKR_OK, f.C_SignFinal(session, BytesOf(signature), &length));
  EXPECT_TRUE(judge->Verify("SHA256", false, message, signature));
}

TEST_F(RsaTest, AKeyOfAnotherTypeIsRefused) {
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  for (const CK_MECHANISM_TYPE type : {CKM_RSA_PKCS, CKM_RSA_X_509, CKM_SHA256_RSA_PKCS}) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, f.C_EncryptInit(session, &mechanism, aes));
    EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, f.C_DecryptInit(session, &mechanism, aes));
    EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, f.C_SignInit(session, &mechanism, aes));
    EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, f.C_VerifyInit(session, &mechanism, aes));
  }
}

TEST_F(RsaTest, AKeyThatSoftHsmCannotUseIsRefused) {
  const std::string modulus = Read(session, pair.publicKey, CKA_MODULUS);
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  for (const auto& [n, e] :
       {std::pair<std::string, std::string>{modulus, ""}, {"", "\3"}, {std::string(8, '\0'), "\3"}}) {
    const CK_OBJECT_HANDLE key = Create(session, ProviderImportedKey(n, e));
    EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, f.C_EncryptInit(session, &mechanism, key));
  }
}

TEST_F(RsaTest, LeadingZerosOfAModulusAreIgnored) {
  const std::string modulus = std::string(3, '\0') + Read(session, pair.publicKey, CKA_MODULUS);
  const CK_OBJECT_HANDLE key = Create(session, ProviderImportedKey(modulus, FromHex("010001")));
  CK_MECHANISM bare = {CKM_RSA_X_509, nullptr, 0};
  std::string data(257, 'x'), out(256, '\0');
  CK_ULONG length = out.size();
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &bare, key));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_Encrypt(session, BytesOf(data), data.size(), BytesOf(out), &length));
}

TEST_F(RsaTest, ASessionKeyIsWrappedAndUnwrapped) {
  const std::string value = FromHex("0022446688aaccee00224466889900aa");
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, value));
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  std::string wrapped(256, '\0');
  CK_ULONG length = wrapped.size();
  ASSERT_EQ(CKR_OK, f.C_WrapKey(session, &mechanism, pair.publicKey, aes, BytesOf(wrapped), &length));
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_SECRET_KEY).Number(CKA_KEY_TYPE, CKK_AES).Flag(CKA_TOKEN, false);
  attributes.Flag(CKA_SENSITIVE, false).Flag(CKA_EXTRACTABLE, true).Flag(CKA_LOCAL, false).Number(CKA_MODULUS_BITS, 3);
  CK_OBJECT_HANDLE unwrapped = 0;
  ASSERT_EQ(CKR_OK, f.C_UnwrapKey(session, &mechanism, pair.privateKey, BytesOf(wrapped), length, attributes.Data(),
                                  attributes.Count(), &unwrapped));
  EXPECT_EQ(value, Read(session, unwrapped, CKA_VALUE));
}

TEST_F(RsaTest, ASessionKeyIsWrappedWithOaep) {
  const std::string value = FromHex("0022446688aaccee00224466889900aa");
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, value));
  CK_RSA_PKCS_OAEP_PARAMS parameters = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 0};
  CK_MECHANISM mechanism = {CKM_RSA_PKCS_OAEP, &parameters, sizeof parameters};
  std::string wrapped(256, '\0');
  CK_ULONG length = wrapped.size();
  ASSERT_EQ(CKR_OK, f.C_WrapKey(session, &mechanism, pair.publicKey, aes, BytesOf(wrapped), &length));
  EXPECT_EQ(value, Decrypt(session, mechanism, pair.privateKey, wrapped));
  parameters = {CKM_SHA256, CKG_MGF1_SHA256, CKZ_DATA_SPECIFIED, nullptr, 0};
  EXPECT_NE(CKR_OK, f.C_WrapKey(session, &mechanism, pair.publicKey, aes, BytesOf(wrapped), &length));
}

struct DigestCase {
  const char* name;
  CK_MECHANISM_TYPE mechanism, mac;
};

void PrintTo(const DigestCase& test, std::ostream* out) { *out << test.name; }

class DigestTest : public RunningTokenTest, public ::testing::WithParamInterface<DigestCase> {};

TEST_P(DigestTest, HasTheRightValue) {
  std::string message = "abc", digest(64, '\0');
  CK_MECHANISM mechanism = {GetParam().mechanism, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &mechanism));
  CK_ULONG length = 0;
  ASSERT_EQ(CKR_OK, f.C_Digest(session, BytesOf(message), message.size(), nullptr, &length));
  ASSERT_EQ(CKR_OK, f.C_Digest(session, BytesOf(message), message.size(), BytesOf(digest), &length));
  EXPECT_EQ(Digest(GetParam().name, message), digest.substr(0, length));
}

TEST_P(DigestTest, TakesAKey) {
  const std::string value(64, 'k');
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_SECRET_KEY).Number(CKA_KEY_TYPE, CKK_GENERIC_SECRET).Flag(CKA_EXTRACTABLE, true);
  const CK_OBJECT_HANDLE key = Create(session, attributes.Flag(CKA_SENSITIVE, false).Bytes(CKA_VALUE, value));
  std::string part = "abc", digest(64, '\0');
  CK_ULONG length = digest.size();
  CK_MECHANISM mechanism = {GetParam().mechanism, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &mechanism));
  ASSERT_EQ(CKR_OK, f.C_DigestUpdate(session, BytesOf(part), part.size()));
  ASSERT_EQ(CKR_OK, f.C_DigestKey(session, key));
  ASSERT_EQ(CKR_OK, f.C_DigestFinal(session, BytesOf(digest), &length));
  EXPECT_EQ(Digest(GetParam().name, part + value), digest.substr(0, length));
}

TEST_P(DigestTest, HasTheRightMac) {
  const std::string key(64, 'k'), message = "abc";
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_SECRET_KEY).Number(CKA_KEY_TYPE, CKK_GENERIC_SECRET).Flag(CKA_SIGN, true);
  const CK_OBJECT_HANDLE handle = Create(session, attributes.Flag(CKA_VERIFY, true).Bytes(CKA_VALUE, key));
  const std::string mac = Sign(session, {GetParam().mac, nullptr, 0}, handle, message);
  EXPECT_EQ(Hmac(GetParam().name, key, message), mac);
  EXPECT_EQ(CKR_OK, Verify(session, {GetParam().mac, nullptr, 0}, handle, message, mac));
}

const DigestCase kDigests[] = {
    {"MD5", CKM_MD5, CKM_MD5_HMAC},          {"SHA1", CKM_SHA_1, CKM_SHA_1_HMAC},
    {"SHA224", CKM_SHA224, CKM_SHA224_HMAC}, {"SHA256", CKM_SHA256, CKM_SHA256_HMAC},
    {"SHA384", CKM_SHA384, CKM_SHA384_HMAC}, {"SHA512", CKM_SHA512, CKM_SHA512_HMAC},
};

INSTANTIATE_TEST_SUITE_P(Digests, DigestTest, ::testing::ValuesIn(kDigests),
                         [](const auto& test) { return test.param.name; });

using RandomTest = RunningTokenTest;

TEST_F(RandomTest, RandomBytesDiffer) {
  std::string first(32, '\0'), second(32, '\0');
  EXPECT_EQ(CKR_OK, f.C_SeedRandom(session, BytesOf(first), first.size()));
  EXPECT_EQ(CKR_OK, f.C_GenerateRandom(session, BytesOf(first), first.size()));
  EXPECT_EQ(CKR_OK, f.C_GenerateRandom(session, BytesOf(second), second.size()));
  EXPECT_NE(first, second);
}

}  // namespace
}  // namespace softtoken::testing
