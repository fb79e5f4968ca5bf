// Secret key ciphers against published vectors.
#include "ProviderTemplates.h"
#include "TokenTest.h"

namespace softtoken::testing {
namespace {

struct Vector {
  const char* name;
  CK_KEY_TYPE type;
  CK_MECHANISM_TYPE mechanism;
  const char* key;
  const char* iv;  // empty in ECB mode
  const char* plain;
  const char* encrypted;
};

void PrintTo(const Vector& test, std::ostream* out) { *out << test.name; }

// "Now is the time for all ", of FIPS 81.
constexpr char kFips81[] = "4e6f77206973207468652074696d6520666f7220616c6c20";
// "The qufck brown fox jump", of SP 800-67.
constexpr char kSp800_67[] = "54686520717566636b2062726f776e20666f78206a756d70";
constexpr char kSp800_38A[] =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
// The first half of it, of NIST's examples for TDEA.
constexpr char kTdea[] = "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51";
constexpr char kTwoKeys[] = "0123456789abcdef23456789abcdef01";
constexpr char kThreeKeys[] = "0123456789abcdef23456789abcdef01456789abcdef0123";

const Vector kVectors[] = {
    {"DesEcb", CKK_DES, CKM_DES_ECB, "0123456789abcdef", "", kFips81,
     "3fa40e8a984d48156a271787ab8883f9893d51ec4b563b53"},
    {"DesCbc", CKK_DES, CKM_DES_CBC, "0123456789abcdef", "1234567890abcdef", kFips81,
     "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6"},
    {"Des2Ecb", CKK_DES2, CKM_DES3_ECB, kTwoKeys, "", kTdea,
     "06ede3d82884090aff322c19f0518486730576972a666e58b6c88cf107340d3d"},
    {"Des2Cbc", CKK_DES2, CKM_DES3_CBC, kTwoKeys, "f69f2445df4f9b17", kTdea,
     "7401ce1eab6d003caff84bf47b36cc2154f0238f9ffecd8f6acf118392b45581"},
    {"Des3Ecb", CKK_DES3, CKM_DES3_ECB, kThreeKeys, "", kTdea,
     "714772f339841d34267fcc4bd2949cc3ee11c22a576a303876183f99c0b6de87"},
    {"Des3EcbOfSp80067", CKK_DES3, CKM_DES3_ECB, kThreeKeys, "", kSp800_67,
     "a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900"},
    {"Des3Cbc", CKK_DES3, CKM_DES3_CBC, kThreeKeys, "f69f2445df4f9b17", kTdea,
     "2079c3d53aa763e193b79e2569ab5262516570481f25b50f73c0bda85c8e0da7"},
    {"AesEcb", CKK_AES, CKM_AES_ECB, "2b7e151628aed2a6abf7158809cf4f3c", "", kSp800_38A,
     "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
     "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4"},
    {"AesCbc", CKK_AES, CKM_AES_CBC, "2b7e151628aed2a6abf7158809cf4f3c", "000102030405060708090a0b0c0d0e0f", kSp800_38A,
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
};

class CipherVectorTest : public RunningTokenTest, public ::testing::WithParamInterface<Vector> {
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

TEST_P(CipherVectorTest, OneCall) {
  EXPECT_EQ(encrypted, Encrypt(session, mechanism, key, plain));
  EXPECT_EQ(plain, Decrypt(session, mechanism, key, encrypted));
}

TEST_P(CipherVectorTest, Bytewise) {
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

INSTANTIATE_TEST_SUITE_P(Vectors, CipherVectorTest, ::testing::ValuesIn(kVectors),
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

TEST_F(CipherTest, AMechanismWantsExactlyItsParameter) {
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

TEST_F(CipherTest, WhatIsNotOfferedIsRefused) {
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

TEST_F(CipherTest, ASecondInitWaitsForTheFirstToEnd) {
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  CK_MECHANISM mechanism = {CKM_AES_ECB, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &mechanism, key));
  EXPECT_EQ(CKR_OPERATION_ACTIVE, f.C_EncryptInit(session, &mechanism, key));
}

}  // namespace
}  // namespace softtoken::testing
