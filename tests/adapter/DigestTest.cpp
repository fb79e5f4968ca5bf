#include <gtest/gtest.h>

#include "Bytes.h"
#include "adapter/software/Digest.h"

namespace adapter::testing {
namespace {

using software::Digest;

struct DigestVector {
  const char* name;
  CK_MECHANISM_TYPE mechanism;
  const char* abc;      // the digest of "abc"
  const char* nothing;  // the digest of the empty message
};

void PrintTo(const DigestVector& test, std::ostream* out) { *out << test.name; }

// MD5: RFC 1321. SHA-1 and SHA-2: FIPS 180-4 and NIST's examples for it. RIPEMD-160: its authors' paper.
const DigestVector kDigestVectors[] = {
    {"Md5", CKM_MD5, "900150983cd24fb0d6963f7d28e17f72", "d41d8cd98f00b204e9800998ecf8427e"},
    {"Sha1", CKM_SHA_1, "a9993e364706816aba3e25717850c26c9cd0d89d", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
    {"Ripemd160", CKM_RIPEMD160, "8eb208f7e05d987a9b044a8e98c6b087f15a0bfc",
     "9c1185a5c5e9fc54612808977ee8f548b2258d31"},
    {"Sha224", CKM_SHA224, "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7",
     "d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f"},
    {"Sha256", CKM_SHA256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
     "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {"Sha384", CKM_SHA384,
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
     "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f65fbd51ad2f14898b95b"},
    {"Sha512", CKM_SHA512,
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
     "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f",
     "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
     "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e"},
};

class DigestVectorTest : public ::testing::TestWithParam<DigestVector> {};

TEST_P(DigestVectorTest, InOnePiece) {
  Digest digest(GetParam().mechanism);
  digest.Update(BytesOf("abc").data(), 3);
  EXPECT_EQ(FromHex(GetParam().abc), digest.Final());
}

TEST_P(DigestVectorTest, ByteByByte) {
  Digest digest(GetParam().mechanism);
  for (const CK_BYTE byte : BytesOf("abc")) digest.Update(&byte, 1);
  EXPECT_EQ(FromHex(GetParam().abc), digest.Final());
}

TEST_P(DigestVectorTest, OfTheEmptyMessage) {
  Digest digest(GetParam().mechanism);
  digest.Update(nullptr, 0);
  EXPECT_EQ(FromHex(GetParam().nothing), digest.Final());
}

TEST_P(DigestVectorTest, TheLengthIsKnownInAdvance) {
  EXPECT_EQ(FromHex(GetParam().nothing).size(), Digest::Length(GetParam().mechanism));
}

INSTANTIATE_TEST_SUITE_P(Vectors, DigestVectorTest, ::testing::ValuesIn(kDigestVectors),
                         [](const auto& test) { return test.param.name; });

TEST(DigestTest, AMillionTimesTheLetterA) {
  Digest digest(CKM_SHA256);
  const Bytes piece(1000, 'a');
  for (int i = 0; i < 1000; ++i) digest.Update(piece.data(), piece.size());
  EXPECT_EQ(FromHex("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"), digest.Final());
}

TEST(DigestTest, AMovedDigestContinues) {
  Digest first(CKM_SHA_1);
  first.Update(BytesOf("a").data(), 1);
  Digest second(std::move(first));
  second.Update(BytesOf("bc").data(), 2);
  EXPECT_EQ(FromHex("a9993e364706816aba3e25717850c26c9cd0d89d"), second.Final());
}

TEST(DigestTest, OtherMechanismsAreNotDigests) {
  EXPECT_EQ(0u, Digest::Length(CKM_SHA256_RSA_PKCS));
  EXPECT_EQ(0u, Digest::Length(CKM_MD2));
  EXPECT_EQ(CKR_MECHANISM_INVALID, CodeOf([] { Digest digest(CKM_RSA_PKCS); }));
}

}  // namespace
}  // namespace adapter::testing
