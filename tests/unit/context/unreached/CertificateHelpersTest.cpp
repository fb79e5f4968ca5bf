#include <gtest/gtest.h>

#include "context/unreached/CertificateHelpers.h"
#include "fixtures/LogFile.h"
#include "module/SampleCertificates.h"
#include "platform/ScriptedCertStore.h"

namespace {

class CertificateHelpersTest : public LogTest {
 protected:
  ~CertificateHelpersTest() override { CertFreeCertificateContext(m_certificate); }

  PCCERT_CONTEXT Context(const Bytes& der) {
    m_certificate = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
    return m_certificate;
  }

  static std::string Searching() {
    return Line("Checking Context") + Line("Checking if Cert Info is NULL") + Line("Finding Certificate Extension") +
           Line("Checking Cert Extension");
  }
  static std::string Verifying() {
    return Line("Checking Context") + Line("Compare Issuer and Subject") + Line("Verify Subject Certificate Context");
  }

  PCCERT_CONTEXT m_certificate = nullptr;
};

TEST_F(CertificateHelpersTest, ANullContextIsNeitherSelfSignedNorAnAuthority) {
  EXPECT_FALSE(IsSelfSigned(nullptr));
  EXPECT_FALSE(IsCACertificate(nullptr));
  EXPECT_EQ(Line("Checking Context") + Line("Checking Context"), TakeLog());
}

TEST_F(CertificateHelpersTest, ACertificateThatItsOwnKeyVerifiesIsSelfSigned) {
  EXPECT_TRUE(IsSelfSigned(Context(kRootCertificate)));
  EXPECT_EQ(Verifying(), TakeLog());
}

TEST_F(CertificateHelpersTest, ACertificateOfAnotherIssuerIsNotSelfSigned) {
  EXPECT_FALSE(IsSelfSigned(Context(kFirstCertificate)));
  EXPECT_EQ(Line("Checking Context") + Line("Compare Issuer and Subject") + Line("Issuer and Subject not matched"),
            TakeLog());
}

TEST_F(CertificateHelpersTest, ACertificateWithAWrongSignatureIsNotSelfSigned) {
  Bytes forged = kRootCertificate;
  forged.back() ^= 1U;
  EXPECT_FALSE(IsSelfSigned(Context(forged)));
  EXPECT_EQ(Verifying(), TakeLog());
}

TEST_F(CertificateHelpersTest, BasicConstraintsMakeAnAuthority) {
  EXPECT_TRUE(IsCACertificate(Context(kRootCertificate)));
  EXPECT_EQ(Searching() + Line("Decoding Object Len") + Line("Decoding Object"), TakeLog());
}

TEST_F(CertificateHelpersTest, BasicConstraintsMayDenyAnAuthority) {
  EXPECT_FALSE(IsCACertificate(Context(kFirstCertificate)));
  EXPECT_EQ(Searching() + Line("Decoding Object Len") + Line("Decoding Object"), TakeLog());
}

TEST_F(CertificateHelpersTest, WithoutBasicConstraintsThereIsNoAuthority) {
  EXPECT_FALSE(IsCACertificate(Context(kSecondCertificate)));
  EXPECT_EQ(Searching() + Line("Cert Extension Failed"), TakeLog());
}

TEST_F(CertificateHelpersTest, BasicConstraintsThatCannotBeReadMakeNoAuthority) {
  EXPECT_FALSE(IsCACertificate(Context(kOddCertificate)));
  EXPECT_EQ(Searching() + Line("Decoding Object Len") + Line("Decoding Object Len Failed"), TakeLog());
}

TEST_F(CertificateHelpersTest, BasicConstraintsThatFailAfterTheirLengthMakeNoAuthority) {
  ScriptedCertStore platform;
  platform.RefuseFromCall("CryptDecodeObject", 2, 0x80093101);
  EXPECT_FALSE(IsCACertificate(Context(kRootCertificate)));
  EXPECT_EQ(Searching() + Line("Decoding Object Len") + Line("Decoding Object") + Line("Decoding Object Failed"),
            TakeLog());
}

TEST_F(CertificateHelpersTest, AContextWithoutInformationIsNoAuthority) {
  CERT_CONTEXT empty = {};
  EXPECT_FALSE(IsCACertificate(&empty));
  EXPECT_EQ(Line("Checking Context") + Line("Checking if Cert Info is NULL") + Line("Cert Info is NULL"), TakeLog());
}

}  // namespace
