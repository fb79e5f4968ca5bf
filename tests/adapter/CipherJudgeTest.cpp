// Padded ciphers in software, compared with OpenSSL.
#include <gtest/gtest.h>
#include <memory>
#include <openssl/evp.h>

#include "Bytes.h"
#include "adapter/software/Cipher.h"

namespace adapter::testing {
namespace {

using software::Cipher;

struct Free {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// OpenSSL's result.
Bytes Encrypted(const EVP_CIPHER* cipher, const Bytes& key, const Bytes& iv, const Bytes& plain) {
  const std::unique_ptr<EVP_CIPHER_CTX, Free> context(EVP_CIPHER_CTX_new());
  Bytes result(plain.size() + 32);
  int head = 0, tail = 0;
  EXPECT_EQ(1, EVP_EncryptInit_ex(context.get(), cipher, nullptr, key.data(), iv.data()));
  EXPECT_EQ(1, EVP_EncryptUpdate(context.get(), result.data(), &head, plain.data(), static_cast<int>(plain.size())));
  EXPECT_EQ(1, EVP_EncryptFinal_ex(context.get(), result.data() + head, &tail));
  result.resize(static_cast<std::size_t>(head + tail));
  return result;
}

TEST(CipherJudgeTest, OpenSslGivesTheSameResult) {
  const struct {
    CK_KEY_TYPE type;
    CK_MECHANISM_TYPE mechanism;
    std::size_t keySize, block;
    const EVP_CIPHER* reference;
  } cases[] = {
      {CKK_DES2, CKM_DES3_CBC_PAD, 16, 8, EVP_des_ede_cbc()}, {CKK_DES3, CKM_DES3_CBC_PAD, 24, 8, EVP_des_ede3_cbc()},
      {CKK_AES, CKM_AES_CBC_PAD, 16, 16, EVP_aes_128_cbc()},  {CKK_AES, CKM_AES_CBC_PAD, 24, 16, EVP_aes_192_cbc()},
      {CKK_AES, CKM_AES_CBC_PAD, 32, 16, EVP_aes_256_cbc()},
  };
  for (const auto& row : cases) {
    const Bytes key = Counting(row.keySize);
    Bytes iv = Counting(row.block, 9);
    const CK_MECHANISM mechanism = {row.mechanism, iv.data(), static_cast<CK_ULONG>(iv.size())};
    for (const std::size_t length : {0u, 1u, 15u, 16u, 17u, 100u, 4096u}) {
      const Bytes plain = Counting(length);
      Cipher cipher(Cipher::Way::Encrypt, mechanism, row.type, key.data(), key.size());
      Bytes result = cipher.Update(plain.data(), plain.size());
      const Bytes last = cipher.Final();
      result.insert(result.end(), last.begin(), last.end());
      EXPECT_EQ(Encrypted(row.reference, key, iv, plain), result) << row.keySize << ", " << length;
    }
  }
}

}  // namespace
}  // namespace adapter::testing
