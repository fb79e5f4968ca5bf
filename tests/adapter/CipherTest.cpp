// Ciphers in software against published vectors.
#include <gtest/gtest.h>

#include "Bytes.h"
#include "adapter/software/Cipher.h"
#include "module/CipherVectors.h"

namespace adapter::testing {
namespace {

using software::Cipher;
using Way = Cipher::Way;

Bytes Joined(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

class CipherVectorTest : public ::testing::TestWithParam<CipherVector> {
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

INSTANTIATE_TEST_SUITE_P(Vectors, CipherVectorTest, ::testing::ValuesIn(kCipherVectors),
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

TEST(CipherTest, PaddedDecryptionHoldsBackTheLastBlockUntilTheEnd) {
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

// A ciphertext that decrypts to a block with this end. It is made in the mode without padding.
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

TEST(CipherTest, TheInitialisationVectorIsOneBlock) {
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

TEST(CipherTest, AKeyWorksOnlyWithTheCiphersOfItsType) {
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_AES_ECB, 0, CKK_DES3, 24));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_DES_ECB, 0, CKK_DES2, 16));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_DES3_ECB, 0, CKK_DES, 8));
  EXPECT_EQ(CKR_KEY_TYPE_INCONSISTENT, CodeOfBegin(CKM_AES_ECB, 0, CKK_GENERIC_SECRET, 16));
}

TEST(CipherTest, OtherMechanismsAreNotCiphers) {
  EXPECT_TRUE(Cipher::Knows(CKM_DES3_CBC_PAD));
  EXPECT_FALSE(Cipher::Knows(CKM_RSA_PKCS));
  EXPECT_FALSE(Cipher::Knows(CKM_AES_MAC));
  EXPECT_EQ(CKR_MECHANISM_INVALID, CodeOfBegin(CKM_RC4, 0, CKK_AES, 16));
}

}  // namespace
}  // namespace adapter::testing
