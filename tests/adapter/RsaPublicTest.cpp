// RSA with a public key, checked by OpenSSL, which has the private key.
#include <gtest/gtest.h>

#include "RsaKeyPair.h"
#include "adapter/software/RsaPublic.h"

namespace adapter::testing {
namespace {

using software::RsaPublicKey;

CK_MECHANISM Bare(CK_MECHANISM_TYPE type) { return {type, nullptr, 0}; }

Bytes Encrypt(const RsaPublicKey& key, const CK_MECHANISM& mechanism, const Bytes& data) {
  return software::Encrypt(key, mechanism, data.data(), data.size());
}

CK_RV Verify(const RsaPublicKey& key, CK_MECHANISM_TYPE mechanism, const Bytes& data, const Bytes& signature) {
  return software::Verify(key, Bare(mechanism), data.data(), data.size(), signature.data(), signature.size());
}

class RsaPublicTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { pair = new RsaKeyPair(1024); }
  static void TearDownTestSuite() { delete pair; }

  static RsaKeyPair* pair;
  const RsaPublicKey key = pair->Public();
};
RsaKeyPair* RsaPublicTest::pair = nullptr;

TEST_F(RsaPublicTest, OpenSslDecryptsPkcs1OfAnyLength) {
  for (std::size_t length = 1; length <= 117; length += 29) {
    const Bytes data = Counting(length);
    const Bytes encrypted = Encrypt(key, Bare(CKM_RSA_PKCS), data);
    EXPECT_EQ(128u, encrypted.size());
    EXPECT_EQ(data, pair->Decrypt(encrypted));
  }
}

TEST_F(RsaPublicTest, ThePaddingIsRandom) {
  const Bytes data = Counting(16);
  EXPECT_NE(Encrypt(key, Bare(CKM_RSA_PKCS), data), Encrypt(key, Bare(CKM_RSA_PKCS), data));
}

TEST_F(RsaPublicTest, OpenSslDecryptsABareBlock) {
  Bytes block = Counting(128);
  block[0] = 0;
  EXPECT_EQ(block, pair->DecryptBare(Encrypt(key, Bare(CKM_RSA_X_509), block)));
  Bytes padded(128);
  std::copy_n(block.begin() + 1, 20, padded.end() - 20);
  EXPECT_EQ(padded, pair->DecryptBare(Encrypt(key, Bare(CKM_RSA_X_509), Bytes(block.begin() + 1, block.begin() + 21))));
}

TEST_F(RsaPublicTest, AResultWithLeadingZerosHasTheLengthOfTheModulus) {
  EXPECT_EQ(Bytes(128), Encrypt(key, Bare(CKM_RSA_X_509), Bytes(1)));
  Bytes one(128);
  one.back() = 1;
  EXPECT_EQ(one, Encrypt(key, Bare(CKM_RSA_X_509), Bytes{1}));
}

TEST_F(RsaPublicTest, OpenSslDecryptsOaep) {
  const struct {
    CK_MECHANISM_TYPE hash;
    CK_RSA_PKCS_MGF_TYPE mask;
    const char* digest;
    std::size_t longest;
  } cases[] = {{CKM_SHA_1, CKG_MGF1_SHA1, "SHA1", 86},
               {CKM_SHA224, CKG_MGF1_SHA224, "SHA224", 70},
               {CKM_SHA256, CKG_MGF1_SHA256, "SHA256", 62},
               {CKM_SHA384, CKG_MGF1_SHA384, "SHA384", 30}};
  for (const auto& row : cases) {
    for (std::string label : {std::string(), std::string("a label\0of bytes", 16)}) {
      CK_RSA_PKCS_OAEP_PARAMS oaep = {row.hash, row.mask, CKZ_DATA_SPECIFIED, label.data(),
                                      static_cast<CK_ULONG>(label.size())};
      const CK_MECHANISM mechanism = {CKM_RSA_PKCS_OAEP, &oaep, sizeof oaep};
      const Bytes data = Counting(row.longest);
      EXPECT_EQ(data, pair->DecryptOaep(row.digest, label, Encrypt(key, mechanism, data)));
      EXPECT_EQ(CKR_DATA_LEN_RANGE, CodeOf([&] { Encrypt(key, mechanism, Counting(row.longest + 1)); }));
    }
  }
}

TEST_F(RsaPublicTest, OaepNeedsOneHashFunctionForBothUses) {
  CK_RSA_PKCS_OAEP_PARAMS oaep = {CKM_SHA256, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 0};
  const CK_MECHANISM mechanism = {CKM_RSA_PKCS_OAEP, &oaep, sizeof oaep};
  const auto encrypt = [&] { Encrypt(key, mechanism, Counting(16)); };
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOf(encrypt));
  oaep = {CKM_MD5, 0, CKZ_DATA_SPECIFIED, nullptr, 0};
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOf(encrypt));
  oaep = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 5};
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOf(encrypt));
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, CodeOf([&] { Encrypt(key, Bare(CKM_RSA_PKCS_OAEP), Counting(16)); }));
}

TEST_F(RsaPublicTest, DataThatCannotBeEncryptedIsRefused) {
  EXPECT_EQ(CKR_DATA_LEN_RANGE, CodeOf([&] { Encrypt(key, Bare(CKM_RSA_PKCS), Counting(118)); }));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, CodeOf([&] { Encrypt(key, Bare(CKM_RSA_PKCS), {}); }));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, CodeOf([&] { Encrypt(key, Bare(CKM_RSA_X_509), Counting(129)); }));
  EXPECT_EQ(CKR_DATA_INVALID, CodeOf([&] { Encrypt(key, Bare(CKM_RSA_X_509), key.modulus); }));
  EXPECT_EQ(CKR_MECHANISM_INVALID, CodeOf([&] { Encrypt(key, Bare(CKM_SHA256_RSA_PKCS), Counting(5)); }));
}

TEST_F(RsaPublicTest, SignaturesWithADigestAreVerified) {
  const struct {
    CK_MECHANISM_TYPE mechanism;
    const char* digest;
  } cases[] = {{CKM_MD5_RSA_PKCS, "MD5"},       {CKM_SHA1_RSA_PKCS, "SHA1"},     {CKM_SHA224_RSA_PKCS, "SHA224"},
               {CKM_SHA256_RSA_PKCS, "SHA256"}, {CKM_SHA384_RSA_PKCS, "SHA384"}, {CKM_SHA512_RSA_PKCS, "SHA512"}};
  const Bytes message = Counting(1000);
  for (const auto& row : cases) {
    Bytes signature = pair->Sign(row.digest, message);
    EXPECT_EQ(CKR_OK, Verify(key, row.mechanism, message, signature)) << row.digest;
    EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, row.mechanism, Counting(999), signature)) << row.digest;
    signature[60] ^= 1;
    EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, row.mechanism, message, signature)) << row.digest;
  }
}

TEST_F(RsaPublicTest, SignaturesOverRawDataAreVerified) {
  for (const std::size_t length : {1u, 20u, 36u, 51u, 117u}) {
    const Bytes data = Counting(length), signature = pair->SignRaw(data);
    EXPECT_EQ(CKR_OK, Verify(key, CKM_RSA_PKCS, data, signature)) << length;
    EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, CKM_RSA_PKCS, Counting(length, 2), signature)) << length;
  }
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, CKM_RSA_PKCS, Counting(35), pair->SignRaw(Counting(36))));
}

TEST_F(RsaPublicTest, ASignatureWithADigestMatchesItsRawDigestInfo) {
  // The DigestInfo of SHA-256 from RFC 8017, then the digest of "abc".
  const Bytes info = FromHex(
      "3031300d060960864801650304020105000420"
      "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(CKR_OK, Verify(key, CKM_RSA_PKCS, info, pair->Sign("SHA256", BytesOf("abc"))));
}

TEST_F(RsaPublicTest, BareSignaturesAreVerified) {
  Bytes block = Counting(128);
  block[0] = 0;
  const Bytes signature = pair->SignBare(block);
  EXPECT_EQ(CKR_OK, Verify(key, CKM_RSA_X_509, block, signature));
  block[64] ^= 1;
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, CKM_RSA_X_509, block, signature));
}

TEST_F(RsaPublicTest, ASignatureHasTheLengthOfTheModulus) {
  const Bytes data = Counting(36);
  for (const std::size_t length : {0u, 1u, 127u, 129u}) {
    EXPECT_EQ(CKR_SIGNATURE_LEN_RANGE, Verify(key, CKM_RSA_PKCS, data, Counting(length))) << length;
  }
}

TEST_F(RsaPublicTest, ASignatureNotBelowTheModulusIsInvalid) {
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, CKM_RSA_PKCS, Counting(36), Bytes(128, 0xFF)));
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, CKM_RSA_PKCS, Counting(36), key.modulus));
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(key, CKM_RSA_PKCS, Counting(36), Bytes(128)));
}

TEST_F(RsaPublicTest, DataThatNoSignatureCanHoldIsRefused) {
  EXPECT_EQ(CKR_DATA_LEN_RANGE, Verify(key, CKM_RSA_PKCS, Counting(118), Counting(128)));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, Verify(key, CKM_RSA_PKCS, {}, Counting(128)));
  EXPECT_EQ(CKR_MECHANISM_INVALID, Verify(key, CKM_RSA_PKCS_PSS, Counting(20), Counting(128)));
}

TEST_F(RsaPublicTest, LeadingZerosOfTheNumbersAreIgnored) {
  RsaPublicKey longer = key;
  longer.modulus.insert(longer.modulus.begin(), 3, 0);
  longer.exponent.insert(longer.exponent.begin(), 2, 0);
  const Bytes data = Counting(36);
  EXPECT_EQ(data, pair->Decrypt(Encrypt(longer, Bare(CKM_RSA_PKCS), data)));
  EXPECT_EQ(CKR_OK, Verify(longer, CKM_RSA_PKCS, data, pair->SignRaw(data)));
}

TEST_F(RsaPublicTest, NumbersThatAreNotAKeyAreRefused) {
  Bytes even = key.modulus;
  even.back() = 0xC4;
  const RsaPublicKey keys[] = {
      {{}, key.exponent},
      {Bytes(128), key.exponent},
      {Bytes{0xFF}, key.exponent},
      {even, key.exponent},
      {key.modulus, {}},
      {key.modulus, Bytes(4)},
      {key.modulus, Bytes{1, 0}},
      {key.modulus, Bytes(129, 0xFF)},
      {Bytes(2049, 0xFF), key.exponent},
  };
  for (const RsaPublicKey& bad : keys) {
    EXPECT_EQ(CKR_KEY_SIZE_RANGE, CodeOf([&] { Encrypt(bad, Bare(CKM_RSA_PKCS), Counting(16)); }));
    EXPECT_EQ(CKR_KEY_SIZE_RANGE, Verify(bad, CKM_RSA_PKCS, Counting(16), Counting(128)));
  }
}

TEST(RsaPublicLongKeyTest, AKeyOf4096BitsEncryptsAndVerifies) {
  const RsaKeyPair pair(4096);
  const Bytes data = Counting(501);
  EXPECT_EQ(data, pair.Decrypt(Encrypt(pair.Public(), Bare(CKM_RSA_PKCS), data)));
  EXPECT_EQ(CKR_OK, Verify(pair.Public(), CKM_SHA512_RSA_PKCS, data, pair.Sign("SHA512", data)));
}

}  // namespace
}  // namespace adapter::testing
