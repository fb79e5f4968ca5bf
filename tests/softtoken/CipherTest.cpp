// Secret key ciphers against published vectors.
#include "ProviderTemplates.h"
#include "TokenTest.h"
#include "module/CipherVectors.h"

namespace softtoken::testing {
namespace {

class CipherVectorTest : public RunningTokenTest, public ::testing::WithParamInterface<CipherVector> {
 protected:
  void SetUp() override {
    RunningTokenTest::SetUp();
    key = Create(session, ProviderSecretKey(GetParam().type, FromHex(GetParam().key)));
    iv = FromHex(GetParam().iv);
    mechanism = {GetParam().mechanism, iv.empty() ? nullptr : iv.data(), iv.size()};
  }

  CK_OBJECT_HANDLE key = 0;
  std::string iv;
  CK_MECHANISM mechanism = {};
  const std::string plain = FromHex(GetParam().plain), encrypted = FromHex(GetParam().encrypted);
};

TEST_P(CipherVectorTest, InOneCall) {
  EXPECT_EQ(encrypted, Encrypt(session, mechanism, key, plain));
  EXPECT_EQ(plain, Decrypt(session, mechanism, key, encrypted));
}

TEST_P(CipherVectorTest, ByteByByte) {
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &mechanism, key));
  std::string result;
  CK_BYTE piece[64] = {};
  CK_ULONG length = 0;
  for (char byte : plain) {
    length = sizeof piece;
    ASSERT_EQ(CKR_OK, f.C_EncryptUpdate(session, reinterpret_cast<CK_BYTE*>(&byte), 1, piece, &length));
    result.append(reinterpret_cast<char*>(piece), length);
  }
  length = sizeof piece;
  ASSERT_EQ(CKR_OK, f.C_EncryptFinal(session, piece, &length));
  result.append(reinterpret_cast<char*>(piece), length);
  EXPECT_EQ(encrypted, result);
}

INSTANTIATE_TEST_SUITE_P(Vectors, CipherVectorTest, ::testing::ValuesIn(kCipherVectors),
                         [](const auto& test) { return test.param.name; });

using CipherTest = RunningTokenTest;

TEST_F(CipherTest, PaddedModesTakeAnyLength) {
  std::string iv(16, '\0');
  const struct {
    CK_KEY_TYPE type;
    std::size_t keySize, block;
    CK_MECHANISM_TYPE mechanism;
  } cases[] = {{CKK_DES, 8, 8, CKM_DES_CBC_PAD},
               {CKK_DES2, 16, 8, CKM_DES3_CBC_PAD},
               {CKK_DES3, 24, 8, CKM_DES3_CBC_PAD},
               {CKK_AES, 16, 16, CKM_AES_CBC_PAD}};
  for (const auto& row : cases) {
    std::string value(row.keySize, 'k');
    for (std::size_t i = 0; i < value.size(); ++i) value[i] = static_cast<char>('A' + i);
    const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(row.type, value));
    const CK_MECHANISM mechanism = {row.mechanism, iv.data(), row.block};
    for (const std::size_t size : {1u, 7u, 8u, 16u, 33u}) {
      const std::string plain(size, 'x');
      const std::string encrypted = Encrypt(session, mechanism, key, plain);
      EXPECT_EQ((size / row.block + 1) * row.block, encrypted.size());
      EXPECT_EQ(plain, Decrypt(session, mechanism, key, encrypted));
    }
  }
}

TEST_F(CipherTest, KeysAreGenerated) {
  const struct {
    CK_MECHANISM_TYPE mechanism;
    CK_ULONG length;
    CK_KEY_TYPE type;
  } cases[] = {{CKM_DES_KEY_GEN, 0, CKK_DES},
               {CKM_DES2_KEY_GEN, 0, CKK_DES2},
               {CKM_DES3_KEY_GEN, 0, CKK_DES3},
               {CKM_AES_KEY_GEN, 32, CKK_AES},
               {CKM_GENERIC_SECRET_KEY_GEN, 20, CKK_GENERIC_SECRET}};
  for (const auto& row : cases) {
    Template attributes;
    if (row.length != 0) attributes.Number(CKA_VALUE_LEN, row.length);
    CK_MECHANISM mechanism = {row.mechanism, nullptr, 0};
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(CKR_OK, f.C_GenerateKey(session, &mechanism, attributes.Data(), attributes.Count(), &key));
    EXPECT_EQ(row.type, ReadNumber(session, key, CKA_KEY_TYPE));
  }
}

TEST_F(CipherTest, AMechanismNeedsExactlyItsParameter) {
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  char iv[16] = {};
  const CK_MECHANISM wrong[] = {
      {CKM_AES_CBC, nullptr, 0}, {CKM_AES_CBC, iv, 8}, {CKM_AES_CBC, nullptr, 16}, {CKM_AES_ECB, iv, 16}};
  for (CK_MECHANISM mechanism : wrong) {
    EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, f.C_EncryptInit(session, &mechanism, key));
    EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, f.C_DecryptInit(session, &mechanism, key));
  }
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_EncryptInit(session, nullptr, key));
}

TEST_F(CipherTest, MechanismsThatAreNotOfferedAreRefused) {
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  CK_AES_CTR_PARAMS counter = {};
  CK_MECHANISM mechanism = {CKM_AES_CTR, &counter, sizeof counter};
  EXPECT_EQ(CKR_MECHANISM_INVALID, f.C_EncryptInit(session, &mechanism, key));
  mechanism = {CKM_SHA512_T, nullptr, 0};
  EXPECT_EQ(CKR_MECHANISM_INVALID, f.C_DigestInit(session, &mechanism));
  CK_MECHANISM_INFO info = {};
  EXPECT_EQ(CKR_MECHANISM_INVALID, f.C_GetMechanismInfo(0, CKM_AES_CTR, &info));
}

TEST_F(CipherTest, EveryListedMechanismHasInformation) {
  CK_ULONG count = 0;
  ASSERT_EQ(CKR_OK, f.C_GetMechanismList(0, nullptr, &count));
  std::vector<CK_MECHANISM_TYPE> types(count);
  ASSERT_EQ(CKR_OK, f.C_GetMechanismList(0, types.data(), &count));
  EXPECT_EQ(42u, types.size());
  for (const CK_MECHANISM_TYPE type : types) {
    CK_MECHANISM_INFO info = {};
    EXPECT_EQ(CKR_OK, f.C_GetMechanismInfo(0, type, &info)) << std::hex << type;
    EXPECT_NE(CK_FLAGS{0}, info.flags & CKF_HW) << std::hex << type;
    EXPECT_NE(0u, info.flags) << std::hex << type;
  }
  count = 1;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_GetMechanismList(0, types.data(), &count));
  EXPECT_EQ(42u, count);
}

TEST_F(CipherTest, ASecondInitIsRefusedUntilTheFirstEnds) {
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  CK_MECHANISM mechanism = {CKM_AES_ECB, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &mechanism, key));
  EXPECT_EQ(CKR_OPERATION_ACTIVE, f.C_EncryptInit(session, &mechanism, key));
}

}  // namespace
}  // namespace softtoken::testing
