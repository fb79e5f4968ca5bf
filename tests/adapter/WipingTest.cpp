// Checks that freed memory contains no keys, plaintext or PINs. Under AddressSanitizer this covers the whole heap, also
// the library's memory; otherwise only memory of operator new.
#include <gtest/gtest.h>

#include "Bytes.h"
#include "adapter/software/Cipher.h"
#include "adapter/software/Digest.h"
#include "adapter/software/RsaPublic.h"
#include "adapter/software/SaltedDigest.h"
#include "platform/HeapWatch.h"

namespace adapter::testing {
namespace {

constexpr std::string_view kKey = "the key: 16 byte", kPlain = "the plaintext is a little longer than a block",
                           kPin = "the PIN as it is typed";

Bytes Work(software::Cipher::Way way, const Bytes& data) {
  static Bytes iv(16);
  const CK_MECHANISM mechanism = {CKM_AES_CBC_PAD, iv.data(), 16};
  software::Cipher cipher(way, mechanism, CKK_AES, reinterpret_cast<const CK_BYTE*>(kKey.data()), kKey.size());
  Bytes result = cipher.Update(data.data(), data.size());
  result.reserve(100);
  const Bytes last = cipher.Final();
  result.insert(result.end(), last.begin(), last.end());
  return result;
}

TEST(WipingTest, TheSearchFindsWhatIsNotWiped) {
  const HeapSearch search({kPlain});
  { const Bytes copy = BytesOf(kPlain); }
  EXPECT_EQ(1u, search.Found().size());
}

TEST(WipingTest, ACipherLeavesNeitherKeyNorPlaintext) {
  const Bytes plain = BytesOf(kPlain);
  const HeapSearch search({kKey, kPlain.substr(0, 16), kPlain.substr(32)});
  const Bytes encrypted = Work(software::Cipher::Way::Encrypt, plain);
  EXPECT_EQ(48u, encrypted.size());
  EXPECT_TRUE(search.Found().empty());
}

TEST(WipingTest, ADecryptionLeavesNoKey) {
  const Bytes encrypted = Work(software::Cipher::Way::Encrypt, BytesOf(kPlain));
  const HeapSearch search({kKey});
  const Bytes plain = Work(software::Cipher::Way::Decrypt, encrypted);
  EXPECT_EQ(BytesOf(kPlain), plain);
  EXPECT_TRUE(search.Found().empty());
}

TEST(WipingTest, AnRsaEncryptionLeavesNoPlaintext) {
  const software::RsaPublicKey key = {Bytes(128, 0xC5), Bytes{1, 0, 1}};
  const Bytes plain = BytesOf(kPlain);
  const CK_MECHANISM padded = {CKM_RSA_PKCS, nullptr, 0}, bare = {CKM_RSA_X_509, nullptr, 0};
  CK_RSA_PKCS_OAEP_PARAMS parameters = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 0};
  const CK_MECHANISM oaep = {CKM_RSA_PKCS_OAEP, &parameters, sizeof parameters};
  // The library stores numbers with the lowest byte first.
  const std::string reversed(kPlain.rbegin(), kPlain.rend());
  for (const CK_MECHANISM& mechanism : {padded, bare, oaep}) {
    const HeapSearch search({kPlain, reversed});
    EXPECT_EQ(128u, software::Encrypt(key, mechanism, plain.data(), plain.size()).size());
    EXPECT_TRUE(search.Found().empty()) << mechanism.mechanism;
  }
}

TEST(WipingTest, ADigestLeavesNoPin) {
  const Bytes pin = BytesOf(kPin);
  const HeapSearch search({kPin});
  {
    const software::SaltedDigest salted(pin.data(), pin.size());
    EXPECT_TRUE(salted.Matches(pin.data(), pin.size()));
  }
  EXPECT_TRUE(search.Found().empty());
}

}  // namespace
}  // namespace adapter::testing
