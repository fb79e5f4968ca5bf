// Ciphers in software against published vectors.
#include <gtest/gtest.h>

#include "Bytes.h"
#include "adapter/software/Cipher.h"

namespace adapter::testing {
namespace {

using software::Cipher;
using Way = Cipher::Way;

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
constexpr char kAes256[] = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
constexpr char kFips197[] = "00112233445566778899aabbccddeeff";
constexpr char kCounting[] = "000102030405060708090a0b0c0d0e0f";

const Vector kVectors[] = {
    {"DesEcb", CKK_DES, CKM_DES_ECB, "0123456789abcdef", "", kFips81,
     "3fa40e8a984d48156a271787ab8883f9893d51ec4b563b53"},
    {"DesCbc", CKK_DES, CKM_DES_CBC, "0123456789abcdef", "1234567890abcdef", kFips81,
     "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6"},
    // The first of the variable plaintext known answers of SP 800-17, whose key is a weak one.
    {"DesEcbByAWeakKey", CKK_DES, CKM_DES_ECB, "0101010101010101", "", "8000000000000000", "95f8a5e5dd31d900"},
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
    {"Aes128Ecb", CKK_AES, CKM_AES_ECB, "2b7e151628aed2a6abf7158809cf4f3c", "", kSp800_38A,
     "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
     "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4"},
    {"Aes128Cbc", CKK_AES, CKM_AES_CBC, "2b7e151628aed2a6abf7158809cf4f3c", kCounting, kSp800_38A,
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"Aes256Cbc", CKK_AES, CKM_AES_CBC, kAes256, kCounting, kSp800_38A,
     "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
     "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
    // FIPS 197, appendix C.2.
    {"Aes192Ecb", CKK_AES, CKM_AES_ECB, "000102030405060708090a0b0c0d0e0f1011121314151617", "", kFips197,
     "dda97ca4864cdfe06eaf70a0ec0d7191"},
};

Bytes Joined(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

class CipherVectorTest : public ::testing::TestWithParam<Vector> {
 protected:
  Cipher Begin(Way way) {
    iv = FromHex(GetParam().iv);
    const Bytes key = FromHex(GetParam().key);
    const CK_MECHANISM mechanism = {GetParam().mechanism, iv.empty() ? nullptr : iv.data(),
                                    static_cast<CK_ULONG>(iv.size())};
    return {way, mechanism, GetParam().type, key.data(), key.size()};
  }

  Bytes iv;
  const Bytes plain = FromHex(GetParam().plain), encrypted = FromHex(GetParam().encrypted);
};

TEST_P(CipherVectorTest, InOnePiece) {
  Cipher encryption = Begin(Way::Encrypt);
  EXPECT_EQ(plain.size(), encryption.ResultLength(plain.size()));
  EXPECT_EQ(encrypted, encryption.Update(plain.data(), plain.size()));
  EXPECT_EQ(Bytes(), encryption.Final());
  Cipher decryption = Begin(Way::Decrypt);
  EXPECT_EQ(encrypted.size(), decryption.ResultLength(encrypted.size()));
  EXPECT_EQ(plain, decryption.Update(encrypted.data(), encrypted.size()));
  EXPECT_EQ(Bytes(), decryption.Final());
}

TEST_P(CipherVectorTest, InPiecesOfAnyLength) {
  for (std::size_t size : {1u, 3u, 5u, 9u, 17u}) {
    Cipher encryption = Begin(Way::Encrypt);
    Bytes result;
    for (std::size_t at = 0; at < plain.size(); at += size) {
      const std::size_t length = std::min(size, plain.size() - at);
      const std::size_t expected = encryption.UpdateLength(length);
      const Bytes piece = encryption.Update(plain.data() + at, length);
      EXPECT_EQ(expected, piece.size());
      result = Joined(result, piece);
    }
    EXPECT_EQ(encrypted, Joined(result, encryption.Final())) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(Vectors, CipherVectorTest, ::testing::ValuesIn(kVectors),
                         [](const auto& test) { return test.param.name; });

struct Padded {
  CK_KEY_TYPE type;
  std::size_t keySize, block;
  CK_MECHANISM_TYPE mechanism;
};
constexpr Padded kPadded[] = {{CKK_DES, 8, 8, CKM_DES_CBC_PAD},
                              {CKK_DES2, 16, 8, CKM_DES3_CBC_PAD},
                              {CKK_DES3, 24, 8, CKM_DES3_CBC_PAD},
                              {CKK_AES, 32, 16, CKM_AES_CBC_PAD}};

Cipher Begin(Way way, const Padded& row) {
  Bytes iv = Counting(row.block);
  const Bytes key = Counting(row.keySize);
  const CK_MECHANISM mechanism = {row.mechanism, iv.data(), static_cast<CK_ULONG>(iv.size())};
  return {way, mechanism, row.type, key.data(), key.size()};
}

TEST(CipherTest, PaddedModesTakeAnyLength) {
  for (const Padded& row : kPadded) {
    for (std::size_t length = 0; length <= 33; ++length) {
      const Bytes plain = Counting(length);
      Cipher encryption = Begin(Way::Encrypt, row);
      const std::size_t expected = encryption.ResultLength(length);
      const Bytes head = encryption.Update(plain.data(), length);
      const Bytes encrypted = Joined(head, encryption.Final());
      EXPECT_EQ((length / row.block + 1) * row.block, encrypted.size());
      EXPECT_EQ(expected, encrypted.size());
      Cipher decryption = Begin(Way::Decrypt, row);
      EXPECT_LE(length, decryption.ResultLength(encrypted.size()));
      const Bytes start = decryption.Update(encrypted.data(), encrypted.size());
      EXPECT_EQ(plain, Joined(start, decryption.Final()));
    }
  }
}

TEST(CipherTest, PaddedDecryptionKeepsTheLastBlockBackUntilItsEnd) {
  Cipher encryption = Begin(Way::Encrypt, kPadded[3]);
  const Bytes plain = Counting(32);
  const Bytes head = encryption.Update(plain.data(), plain.size());
  const Bytes encrypted = Joined(head, encryption.Final());
  Cipher decryption = Begin(Way::Decrypt, kPadded[3]);
  Bytes result;
  for (const CK_BYTE byte : encrypted) {
    const std::size_t expected = decryption.UpdateLength(1);
    const Bytes piece = decryption.Update(&byte, 1);
    EXPECT_EQ(expected, piece.size());
    result = Joined(result, piece);
  }
  EXPECT_EQ(plain, result);
  EXPECT_EQ(Bytes(), decryption.Final());
}

TEST(CipherTest, DataThatIsNotWholeBlocksIsRefusedAtTheEnd) {
  const Bytes key = Counting(16), data = Counting(17);
  const CK_MECHANISM ecb = {CKM_AES_ECB, nullptr, 0};
  Cipher encryption(Way::Encrypt, ecb, CKK_AES, key.data(), key.size());
  encryption.Update(data.data(), data.size());
  EXPECT_EQ(CKR_DATA_LEN_RANGE, CodeOf([&] { encryption.Final(); }));
  Cipher decryption(Way::Decrypt, ecb, CKK_AES, key.data(), key.size());
  decryption.Update(data.data(), data.size());
  EXPECT_EQ(CKR_ENCRYPTED_DATA_LEN_RANGE, CodeOf([&] { decryption.Final(); }));
}

TEST(CipherTest, PaddedDecryptionNeedsAWholeBlock) {
  for (const std::size_t length : {0u, 15u, 17u}) {
    Cipher decryption = Begin(Way::Decrypt, kPadded[3]);
    const Bytes data = Counting(length);
    decryption.Update(data.data(), length);
    EXPECT_EQ(CKR_ENCRYPTED_DATA_LEN_RANGE, CodeOf([&] { decryption.Final(); })) << length;
  }
}

// What decrypts to a block with this end, which is made by the mode that adds no padding.
Bytes BlockThatEndsIn(const Bytes& end) {
  Bytes plain(16, 0x55);
  std::copy(end.begin(), end.end(), plain.end() - static_cast<std::ptrdiff_t>(end.size()));
  const Padded bare = {CKK_AES, 32, 16, CKM_AES_CBC};
  return Begin(Way::Encrypt, bare).Update(plain.data(), plain.size());
}

TEST(CipherTest, ABadPaddingIsRefused) {
  for (const Bytes& end : {Bytes{0}, Bytes{17}, Bytes{2, 3, 3}, Bytes{1, 2}, Bytes{255}}) {
    const Bytes encrypted = BlockThatEndsIn(end);
    Cipher decryption = Begin(Way::Decrypt, kPadded[3]);
    decryption.Update(encrypted.data(), encrypted.size());
    EXPECT_EQ(CKR_ENCRYPTED_DATA_INVALID, CodeOf([&] { decryption.Final(); })) << ::testing::PrintToString(end);
  }
}

CK_RV CodeOfBegin(CK_MECHANISM_TYPE type, std::size_t ivLength, CK_KEY_TYPE keyType, std::size_t keyLength) {
  Bytes iv = Counting(ivLength);
  const Bytes key = Counting(keyLength);
  const CK_MECHANISM mechanism = {type, iv.empty() ? nullptr : iv.data(), static_cast<CK_ULONG>(ivLength)};
  return CodeOf([&] { Cipher(Way::Encrypt, mechanism, keyType, key.data(), key.size()); });
}

TEST(CipherTest, TheInitialVectorIsOneBlock) {
  EXPECT_EQ(CKR_OK, CodeOfBegin(CKM_AES_CBC, 16, CKK_AES, 16));
  for (const std::size_t length : {0u, 8u, 15u, 17u}) {
    EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOfBegin(CKM_AES_CBC, length, CKK_AES, 16)) << length;
  }
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOfBegin(CKM_DES3_CBC, 16, CKK_DES3, 24));
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOfBegin(CKM_AES_ECB, 16, CKK_AES, 16));
  const CK_MECHANISM missing = {CKM_AES_CBC, nullptr, 16};
  const Bytes key = Counting(16);
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOf([&] { Cipher(Way::Encrypt, missing, CKK_AES, key.data(), 16); }));
}

TEST(CipherTest, AKeyHasTheLengthOfItsType) {
  EXPECT_EQ(CKR_KEY_SIZE_RANGE, CodeOfBegin(CKM_AES_ECB, 0, CKK_AES, 15));
  EXPECT_EQ(CKR_KEY_SIZE_RANGE, CodeOfBegin(CKM_AES_ECB, 0, CKK_AES, 0));
  EXPECT_EQ(CKR_KEY_SIZE_RANGE, CodeOfBegin(CKM_DES_ECB, 0, CKK_DES, 16));
  EXPECT_EQ(CKR_KEY_SIZE_RANGE, CodeOfBegin(CKM_DES3_ECB, 0, CKK_DES2, 24));
  EXPECT_EQ(CKR_KEY_SIZE_RANGE, CodeOfBegin(CKM_DES3_ECB, 0, CKK_DES3, 16));
}

TEST(CipherTest, AKeyIsForTheCiphersOfItsType) {
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_AES_ECB, 0, CKK_DES3, 24));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_DES_ECB, 0, CKK_DES2, 16));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_DES3_ECB, 0, CKK_DES, 8));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_AES_ECB, 0, CKK_GENERIC_SECRET, 16));
}

TEST(CipherTest, OtherMechanismsAreNoCiphers) {
  EXPECT_TRUE(Cipher::Knows(CKM_DES3_CBC_PAD));
  EXPECT_FALSE(Cipher::Knows(CKM_RSA_PKCS));
  EXPECT_FALSE(Cipher::Knows(CKM_AES_MAC));
  EXPECT_EQ(CKR_MECHANISM_INVALID, CodeOfBegin(CKM_RC4, 0, CKK_AES, 16));
}

}  // namespace
}  // namespace adapter::testing
