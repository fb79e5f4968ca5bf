// A document, signed by the system's own message functions with a certificate that came from the card.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SigningTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class DocumentTest : public SigningTest {
 protected:
  DocumentTest() {
    Open(2048);
    DWORD length = sizeof(m_store);
    EXPECT_EQ("true",
              Result(CryptGetProvParam(Handle(), PP_USER_CERTSTORE, reinterpret_cast<BYTE*>(&m_store), &length, 0)));
    CertCloseStore(m_store, 0);
    m_store = CertOpenSystemStoreA(0, "MY");  // what other programs see
  }
  ~DocumentTest() override {
    for (PCCERT_CONTEXT certificate : m_found) CertFreeCertificateContext(certificate);
    CertCloseStore(m_store, 0);
  }

  PCCERT_CONTEXT Find(const wchar_t* subject) {
    m_found.push_back(
        CertFindCertificateInStore(m_store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR, subject, nullptr));
    return m_found.back();
  }

  // A detached signature of the message, as DER.
  Bytes SignMessage(PCCERT_CONTEXT certificate, const char* hash) {
    CRYPT_SIGN_MESSAGE_PARA parameters = {};
    parameters.cbSize = sizeof(parameters);
    parameters.dwMsgEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    parameters.pSigningCert = certificate;
    std::string oid = hash;
    parameters.HashAlgorithm.pszObjId = oid.data();
    parameters.cMsgCert = 1;
    parameters.rgpMsgCert = &certificate;
    const Bytes message = Message();
    const BYTE* parts[] = {message.data()};
    DWORD lengths[] = {static_cast<DWORD>(message.size())};
    DWORD length = 0;
    EXPECT_EQ("true", Result(CryptSignMessage(&parameters, TRUE, 1, parts, lengths, nullptr, &length)));
    Bytes signedMessage(length);
    EXPECT_EQ("true", Result(CryptSignMessage(&parameters, TRUE, 1, parts, lengths, signedMessage.data(), &length)));
    signedMessage.resize(length);
    return signedMessage;
  }

  HCERTSTORE m_store = nullptr;
  std::vector<PCCERT_CONTEXT> m_found;
};

TEST_F(DocumentTest, TheUsersStoreHoldsTheCardsCertificatesWithTheirContainers) {
  std::vector<std::wstring> containers;
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(m_store, certificate)) != nullptr) {
    DWORD length = 0;
    ASSERT_EQ("true",
              Result(CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length)));
    std::vector<std::uint64_t> buffer(length / 8 + 1);
    CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, buffer.data(), &length);
    const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data());
    containers.emplace_back(info.pwszContainerName);
    EXPECT_STREQ(L"Brenholt Devices CSP v4.5", info.pwszProvName);
    EXPECT_EQ(1U, info.dwProvType);
    EXPECT_EQ(1U, info.dwKeySpec);
  }
  EXPECT_THAT(containers, ::testing::UnorderedElementsAre(L"k1024", L"k2048", L"k3072", L"k4096"));
}

TEST_F(DocumentTest, ACertificatePropagatedTwiceIsThereOnce) {
  HCERTSTORE again = nullptr;
  DWORD length = sizeof(again);
  ASSERT_EQ("true",
            Result(CryptGetProvParam(Handle(), PP_USER_CERTSTORE, reinterpret_cast<BYTE*>(&again), &length, 0)));
  int count = 0;
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(again, certificate)) != nullptr) ++count;
  CertCloseStore(again, 0);
  EXPECT_EQ(4, count);
}

TEST_F(DocumentTest, IsSignedWithSHA1) {
  PCCERT_CONTEXT const certificate = Find(L"k2048");
  ASSERT_NE(nullptr, certificate);
  Write("document.sha1.p7s", SignMessage(certificate, szOID_OIWSEC_sha1));
}

TEST_F(DocumentTest, IsSignedWithSHA256) {
  PCCERT_CONTEXT const certificate = Find(L"k2048");
  ASSERT_NE(nullptr, certificate);
  Write("document.sha256.p7s", SignMessage(certificate, szOID_NIST_sha256));
}

TEST_F(DocumentTest, IsSignedThroughTheCertificateAlone) {
  // The key is found through the certificate alone: our own context is released.
  Release();
  PCCERT_CONTEXT const certificate = Find(L"k4096");
  ASSERT_NE(nullptr, certificate);
  Write("document.4096.p7s", SignMessage(certificate, szOID_NIST_sha256));
}

}  // namespace
