// After a call that asks for a length or fails, a session can always start its next operation.
#include "ProviderTemplates.h"
#include "TokenTest.h"
#include "Verifier.h"

namespace softtoken::testing {
namespace {

using Init = CK_RV (*CK_FUNCTION_LIST::*)(CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE);
using Step = CK_RV (*CK_FUNCTION_LIST::*)(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR, CK_ULONG_PTR);

enum class Key { None, Public, Private, Des, Des3, Aes, Generic };

struct Row {
  const char* name;
  Init init;  // null: C_DigestInit
  Step step;
  CK_MECHANISM_TYPE mechanism;
  Key key;
  CK_ULONG input, answer;  // lengths
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

using F = CK_FUNCTION_LIST;

const Row kRows[] = {
    {"RsaEncrypt", &F::C_EncryptInit, &F::C_Encrypt, CKM_RSA_PKCS, Key::Public, 5, 128},
    {"RsaDecrypt", &F::C_DecryptInit, &F::C_Decrypt, CKM_RSA_PKCS, Key::Private, 128, 128},
    {"BareEncrypt", &F::C_EncryptInit, &F::C_Encrypt, CKM_RSA_X_509, Key::Public, 128, 128},
    {"OaepEncrypt", &F::C_EncryptInit, &F::C_Encrypt, CKM_RSA_PKCS_OAEP, Key::Public, 5, 128},
    {"OaepDecrypt", &F::C_DecryptInit, &F::C_Decrypt, CKM_RSA_PKCS_OAEP, Key::Private, 128, 86},
    {"DesEncrypt", &F::C_EncryptInit, &F::C_Encrypt, CKM_DES_ECB, Key::Des, 16, 16},
    {"DesDecrypt", &F::C_DecryptInit, &F::C_Decrypt, CKM_DES_ECB, Key::Des, 16, 16},
    {"Des3Encrypt", &F::C_EncryptInit, &F::C_Encrypt, CKM_DES3_ECB, Key::Des3, 16, 16},
    {"Des3Decrypt", &F::C_DecryptInit, &F::C_Decrypt, CKM_DES3_ECB, Key::Des3, 16, 16},
    {"AesEncrypt", &F::C_EncryptInit, &F::C_Encrypt, CKM_AES_ECB, Key::Aes, 32, 32},
    {"AesDecrypt", &F::C_DecryptInit, &F::C_Decrypt, CKM_AES_ECB, Key::Aes, 32, 32},
    {"AesEncryptUpdate", &F::C_EncryptInit, &F::C_EncryptUpdate, CKM_AES_ECB, Key::Aes, 32, 32},
    {"AesDecryptUpdate", &F::C_DecryptInit, &F::C_DecryptUpdate, CKM_AES_ECB, Key::Aes, 32, 32},
    {"Digest", nullptr, &F::C_Digest, CKM_SHA256, Key::None, 5, 32},
    {"RsaSign", &F::C_SignInit, &F::C_Sign, CKM_RSA_PKCS, Key::Private, 5, 128},
    {"BareSign", &F::C_SignInit, &F::C_Sign, CKM_RSA_X_509, Key::Private, 128, 128},
    {"HashingSign", &F::C_SignInit, &F::C_Sign, CKM_SHA256_RSA_PKCS, Key::Private, 5, 128},
    {"Mac", &F::C_SignInit, &F::C_Sign, CKM_SHA256_HMAC, Key::Generic, 5, 32},
};

class OperationTest : public LoggedInTokenTest {
 protected:
  CK_OBJECT_HANDLE KeyOf(Key key) {
    if (pair.publicKey == 0) pair = GenerateKeyPair(session, 1024);
    switch (key) {
      case Key::None:
        return 0;
      case Key::Public:
        return pair.publicKey;
      case Key::Private:
        return pair.privateKey;
      case Key::Des:
        return Create(session, ProviderSecretKey(CKK_DES, FromHex("0123456789abcdef")));
      case Key::Des3:
        return Create(session,
                      ProviderSecretKey(CKK_DES3, FromHex("0123456789abcdef23456789abcdef01456789abcdef0123")));
      case Key::Aes:
        return Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
      case Key::Generic:
        return Create(session, ProviderSecretKey(CKK_GENERIC_SECRET, std::string(64, 'k')));
    }
    return 0;
  }

  KeyPair pair;
  std::string in = std::string(256, '\1'), out = std::string(256, '\0');
  CK_ULONG length = 256;
};

class EveryOperationTest : public OperationTest, public ::testing::WithParamInterface<Row> {
 protected:
  void SetUp() override {
    OperationTest::SetUp();
    key = KeyOf(GetParam().key);
    if (GetParam().mechanism == CKM_RSA_PKCS_OAEP) mechanism = {CKM_RSA_PKCS_OAEP, &oaep, sizeof oaep};
    if (GetParam().init != &F::C_DecryptInit) return;
    if (GetParam().key == Key::Private) in = Encrypt(session, mechanism, pair.publicKey, "text");
  }

  CK_RV Begin() {
    const Init init = GetParam().init;
    return init == nullptr ? f.C_DigestInit(session, &mechanism) : (f.*init)(session, &mechanism, key);
  }
  CK_RV Work(CK_BYTE_PTR data, CK_BYTE_PTR result, CK_ULONG_PTR resultLen) {
    return (f.*GetParam().step)(session, data, GetParam().input, result, resultLen);
  }
  // No operation is active, and a new one works.
  void ExpectNoActiveOperation() {
    EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, Work(BytesOf(in), BytesOf(out), &length));
    ExpectWholeOperation();
  }
  void ExpectWholeOperation() {
    ASSERT_EQ(CKR_OK, Begin());
    length = out.size();
    EXPECT_EQ(CKR_OK, Work(BytesOf(in), BytesOf(out), &length));
  }

  CK_OBJECT_HANDLE key = 0;
  CK_RSA_PKCS_OAEP_PARAMS oaep = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 0};
  CK_MECHANISM mechanism = {GetParam().mechanism, nullptr, 0};
};

INSTANTIATE_TEST_SUITE_P(Operations, EveryOperationTest, ::testing::ValuesIn(kRows),
                         [](const auto& test) { return test.param.name; });

TEST_P(EveryOperationTest, ALengthQueryNeedsNoData) {
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_OK, Work(nullptr, nullptr, &length));
  EXPECT_EQ(GetParam().answer, length);
  ExpectWholeOperation();
}

TEST_P(EveryOperationTest, TheOperationContinuesAfterALengthQueryWithoutData) {
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_OK, Work(nullptr, nullptr, &length));
  EXPECT_EQ(CKR_OK, Work(BytesOf(in), BytesOf(out), &length));
}

TEST_P(EveryOperationTest, AnyOtherOperationMayFollowALengthQuery) {
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_OK, Work(nullptr, nullptr, &length));
  CK_MECHANISM sha = {CKM_SHA256, nullptr, 0}, rsa = {CKM_RSA_PKCS, nullptr, 0};
  length = out.size();
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &sha));
  EXPECT_EQ(CKR_OK, f.C_Digest(session, BytesOf(in), 5, BytesOf(out), &length));
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_OK, Work(nullptr, nullptr, &length));
  EXPECT_EQ(128, Sign(session, rsa, pair.privateKey, "text").size());
}

TEST_P(EveryOperationTest, ATooSmallBufferDoesNotEndTheOperation) {
  ASSERT_EQ(CKR_OK, Begin());
  length = 1;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, Work(BytesOf(in), BytesOf(out), &length));
  EXPECT_EQ(CKR_OK, Work(BytesOf(in), BytesOf(out), &length));
}

TEST_P(EveryOperationTest, MissingDataEndsTheOperation) {
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_ARGUMENTS_BAD, Work(nullptr, BytesOf(out), &length));
  ExpectNoActiveOperation();
}

TEST_P(EveryOperationTest, AMissingLengthEndsTheOperation) {
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_ARGUMENTS_BAD, Work(BytesOf(in), BytesOf(out), nullptr));
  ExpectNoActiveOperation();
  if (GetParam().step == &F::C_EncryptUpdate || GetParam().step == &F::C_DecryptUpdate) return;
  ASSERT_EQ(CKR_OK, Begin());
  EXPECT_EQ(CKR_ARGUMENTS_BAD, Work(nullptr, nullptr, nullptr));
  ExpectNoActiveOperation();
}

// --- What the table does not cover

class PartsTest : public OperationTest {
 protected:
  CK_MECHANISM ecb = {CKM_AES_ECB, nullptr, 0}, sha = {CKM_SHA256, nullptr, 0},
               hashing = {CKM_SHA256_RSA_PKCS, nullptr, 0};
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
};

TEST_F(PartsTest, NullDataOfLengthZeroIsAccepted) {
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &sha));
  EXPECT_EQ(CKR_OK, f.C_DigestUpdate(session, nullptr, 0));
  EXPECT_EQ(CKR_OK, f.C_DigestFinal(session, BytesOf(out), &length));
  EXPECT_EQ(Digest("SHA256", ""), out.substr(0, length));
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &sha));
  EXPECT_EQ(CKR_OK, f.C_Digest(session, nullptr, 0, BytesOf(out), &length));
  EXPECT_EQ(Digest("SHA256", ""), out.substr(0, length));
  const CK_OBJECT_HANDLE aes = KeyOf(Key::Aes);
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &ecb, aes));
  EXPECT_EQ(CKR_OK, f.C_EncryptUpdate(session, nullptr, 0, BytesOf(out), &length));
  EXPECT_EQ(0, length);
  EXPECT_EQ(CKR_OK, f.C_EncryptFinal(session, BytesOf(out), &length));
  EXPECT_EQ(0, length);
}

TEST_F(PartsTest, AFailedDigestHasEnded) {
  const CK_OBJECT_HANDLE publicKey = KeyOf(Key::Public);
  const std::function<CK_RV()> failures[] = {[&] { return f.C_DigestUpdate(session, nullptr, 5); },
                                             [&] { return f.C_DigestFinal(session, BytesOf(out), nullptr); },
                                             [&] { return f.C_DigestKey(session, publicKey); },
                                             [&] { return f.C_DigestKey(session, 4711); }};
  for (const auto& fail : failures) {
    ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &sha));
    EXPECT_NE(CKR_OK, fail());
    EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_DigestUpdate(session, BytesOf(in), 5));
  }
}

TEST_F(PartsTest, AFailedSignatureHasEnded) {
  const CK_OBJECT_HANDLE key = KeyOf(Key::Private);
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &hashing, key));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_SignUpdate(session, nullptr, 5));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_SignFinal(session, BytesOf(out), &length));
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &hashing, key));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_SignFinal(session, BytesOf(out), nullptr));
  EXPECT_EQ(128, Sign(session, rsa, key, "text").size());
}

TEST_F(PartsTest, AFailedVerificationHasEnded) {
  const CK_OBJECT_HANDLE key = KeyOf(Key::Public);
  const std::function<CK_RV()> failures[] = {[&] { return f.C_VerifyUpdate(session, nullptr, 5); },
                                             [&] { return f.C_VerifyFinal(session, nullptr, 128); },
                                             [&] { return f.C_Verify(session, BytesOf(in), 5, nullptr, 128); },
                                             [&] { return f.C_Verify(session, nullptr, 5, BytesOf(in), 128); },
                                             [&] { return f.C_Verify(session, BytesOf(in), 5, BytesOf(in), 128); }};
  for (const auto& fail : failures) {
    ASSERT_EQ(CKR_OK, f.C_VerifyInit(session, &hashing, key));
    EXPECT_NE(CKR_OK, fail());
    EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_VerifyUpdate(session, BytesOf(in), 5));
  }
}

TEST_F(PartsTest, AFailedFinalCallEndsACipher) {
  const CK_OBJECT_HANDLE key = KeyOf(Key::Aes);
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &ecb, key));
  ASSERT_EQ(CKR_OK, f.C_EncryptUpdate(session, BytesOf(in), 5, BytesOf(out), &length));
  length = out.size();
  EXPECT_EQ(CKR_DATA_LEN_RANGE, f.C_EncryptFinal(session, BytesOf(out), &length));
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &ecb, key));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_DecryptFinal(session, BytesOf(out), nullptr));
  EXPECT_EQ(16, Encrypt(session, ecb, key, std::string(16, 'x')).size());
}

TEST_F(PartsTest, ALengthQueryOfAFinalCallDoesNotBlockOtherOperations) {
  const CK_OBJECT_HANDLE key = KeyOf(Key::Private), aes = KeyOf(Key::Aes);
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &sha));
  ASSERT_EQ(CKR_OK, f.C_DigestUpdate(session, BytesOf(in), 5));
  EXPECT_EQ(CKR_OK, f.C_DigestFinal(session, nullptr, &length));
  EXPECT_EQ(32, length);
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &hashing, key));
  ASSERT_EQ(CKR_OK, f.C_SignUpdate(session, BytesOf(in), 5));
  EXPECT_EQ(CKR_OK, f.C_SignFinal(session, nullptr, &length));
  EXPECT_EQ(128, length);
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &ecb, aes));
  EXPECT_EQ(CKR_OK, f.C_EncryptFinal(session, nullptr, &length));
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &ecb, aes));
  EXPECT_EQ(CKR_OK, f.C_DecryptFinal(session, nullptr, &length));
  EXPECT_EQ(128, Sign(session, rsa, key, "text").size());
}

TEST_F(PartsTest, WrappingLeavesAnActiveOperationAlone) {
  const CK_OBJECT_HANDLE publicKey = KeyOf(Key::Public), aes = KeyOf(Key::Aes);
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &rsa, publicKey));
  EXPECT_EQ(CKR_OK, f.C_WrapKey(session, &rsa, publicKey, aes, nullptr, &length));
  EXPECT_EQ(128, length);
  length = 1;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_WrapKey(session, &rsa, publicKey, aes, BytesOf(out), &length));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_WrapKey(session, &rsa, publicKey, aes, BytesOf(out), nullptr));
  EXPECT_EQ(CKR_OK, f.C_WrapKey(session, &rsa, publicKey, aes, BytesOf(out), &length));
  length = out.size();
  EXPECT_EQ(CKR_OK, f.C_Encrypt(session, BytesOf(in), 5, BytesOf(out), &length)) << "the operation is still active";
}

TEST_F(PartsTest, AnOperationLeavesObjectsOfItsSessionAlone) {
  const CK_OBJECT_HANDLE aes = KeyOf(Key::Aes);
  EXPECT_EQ(16, Encrypt(session, ecb, aes, std::string(16, 'x')).size());
  EXPECT_EQ(std::string(16, 'k'), Read(session, aes, CKA_VALUE));
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &ecb, aes));
  EXPECT_EQ(CKR_OK, f.C_CloseSession(session)) << "with the operation under way";
  const CK_SESSION_HANDLE next = Open();
  CK_SESSION_INFO info = SessionInfo(next);
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, info.state);
  EXPECT_EQ(1, TokenInfo().ulSessionCount);
}

}  // namespace
}  // namespace softtoken::testing
