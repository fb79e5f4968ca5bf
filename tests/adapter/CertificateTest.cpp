// What the library of each platform reads from certificates.
#include <gtest/gtest.h>

#include "Bytes.h"
#include "adapter/Certificate.h"

namespace adapter::testing {
namespace {

pkcs11::Secret Der(std::string_view hex) {
  const Bytes bytes = FromHex(hex);
  return {bytes.begin(), bytes.end()};
}

// RSA, 1024 bits, key usage: digital signature.
constexpr char kRsa[] =
    "3082020930820172a00302010202147cae6d8071dc4037437a640ce4147e0edb784d11300d06092a864886f70d01010b0500"
    "300f310d300b06035504030c04546573743020170d3236313132323037303531385a180f3230353130373134303730353138"
    "5a300f310d300b06035504030c045465737430819f300d06092a864886f70d010101050003818d0030818902818100c5e0c1"
    "64d331757e4382d945bb0118dbf20816f3cbcf0598a20add3767d6d6b94df0fe93790492ee0c51b1cb593631d157030f57fb"
    "1f22de5e13fbce6f42d09f9f175e5a0ba367863a5356604525d0b4c74ed56f82f01fa0943d97f5c51e838b3f8f1072d3339a"
    "b42f843851dd6da1f20bc30f121423bfbd7579bbd40fcdbc090203010001a360305e301d0603551d0e041604148523a42e57"
    "57eea031ea1262641999d25161f108301f0603551d230418301680148523a42e5757eea031ea1262641999d25161f108300f"
    "0603551d130101ff040530030101ff300b0603551d0f040403020780300d06092a864886f70d01010b050003818100225b7e"
    "456bd89b23d0bc05943db59d35c5c137814031cbba3ffb8fbb29b34751f0c158a9e0ad8bdaae2f0ecfd8689d52d88ecc57e8"
    "0535c79a9c877e38a0eeed388667fb7d24b5fa10db5a33ef691425d44dfb6a8e67920c89d905a6a472cbdbf9deb49d0949d0"
    "3ac3da42fe4de4ef4b9dabee951aba7a06e161fae0f8d6a631";
constexpr char kModulus[] =
    "c5e0c164d331757e4382d945bb0118dbf20816f3cbcf0598a20add3767d6d6b94df0fe93790492ee0c51b1cb593631d15703"
    "0f57fb1f22de5e13fbce6f42d09f9f175e5a0ba367863a5356604525d0b4c74ed56f82f01fa0943d97f5c51e838b3f8f1072"
    "d3339ab42f843851dd6da1f20bc30f121423bfbd7579bbd40fcdbc09";

// An elliptic curve, key usage: key encipherment.
constexpr char kCurve[] =
    "3082018330820128a0030201020214149966faf9b78aaea79e11204f7c0226618c94cb300a06082a8648ce3d040302300f31"
    "0d300b06035504030c04546573743020170d3236313132323037303531385a180f32303531303731343037303531385a300f"
    "310d300b06035504030c04546573743059301306072a8648ce3d020106082a8648ce3d030107034200040270eb8b5cea5943"
    "9375c79d2aaf6c5422437bc42bd9769c19e57080e5373ac21eb09b7f64d67605bac05467cff8aa94cf8450191dd0ede0a52f"
    "b4c673b2ae5ea360305e301d0603551d0e0416041453579a1ece10577d815ada846df1c0ddaa1ac5ef301f0603551d230418"
    "3016801453579a1ece10577d815ada846df1c0ddaa1ac5ef300f0603551d130101ff040530030101ff300b0603551d0f0404"
    "03020520300a06082a8648ce3d0403020349003046022100e6e7ddcc4310de1863460aa6fc3317e3d6b9bc3777fdc51c96d8"
    "648a3b6fa539022100c1cf7fd873d8de18a243a45133b082cbea11cc5767f6de0905af759976363397";

TEST(CertificateTest, HasTheNumbersOfItsKey) {
  const auto facts = ReadCertificate(Der(kRsa));
  ASSERT_TRUE(facts);
  EXPECT_EQ(Der(kModulus), facts->modulus);
  EXPECT_EQ(Der("010001"), facts->exponent);
}

TEST(CertificateTest, HasTheUsesOfItsKey) {
  const auto signs = ReadCertificate(Der(kRsa)), decrypts = ReadCertificate(Der(kCurve));
  ASSERT_TRUE(signs && decrypts);
  EXPECT_TRUE(signs->usage.signs && !signs->usage.decrypts);
  EXPECT_TRUE(!decrypts->usage.signs && decrypts->usage.decrypts);
}

TEST(CertificateTest, WithAnEllipticCurveKeyHasNoNumbers) {
  const auto facts = ReadCertificate(Der(kCurve));
  ASSERT_TRUE(facts);
  EXPECT_TRUE(facts->modulus.empty() && facts->exponent.empty());
}

TEST(CertificateTest, IsRefusedIfItIsMalformed) {
  EXPECT_FALSE(ReadCertificate({}));
  EXPECT_FALSE(ReadCertificate(Der("3003020101")));
  pkcs11::Secret cut = Der(kRsa);
  cut.resize(cut.size() - 1);
  EXPECT_FALSE(ReadCertificate(cut));
}

}  // namespace
}  // namespace adapter::testing
