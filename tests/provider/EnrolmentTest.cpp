// Enrolment as an application does it: a new container, a key pair, a request and a certificate made by the system's
// own functions, the certificate on the card. The script runs each group of tests in a separate process, one after
// another, and has OpenSSL verify the files that they write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SigningTest.h"

namespace {

const char kContainer[] = "enrolled";
constexpr DWORD kEncoding = X509_ASN_ENCODING;

class EnrolmentTest : public SigningTest {
 protected:
  void OpenEnrolled(DWORD flags) {
    ASSERT_EQ("true", AcquireResult(Named(kReaderA, kContainer).c_str(), flags));
    const BYTE pin[] = "123456";
    ASSERT_EQ("true", Result(CryptSetProvParam(Handle(), PP_KEYEXCHANGE_PIN, pin, 0)));
  }
};

// --- The first process

class MakeTest : public EnrolmentTest {
 protected:
  static Bytes EncodedName(const char* name) {
    DWORD length = 0;
    CertStrToNameA(kEncoding, name, CERT_X500_NAME_STR, nullptr, nullptr, &length, nullptr);
    Bytes encoded(length);
    EXPECT_EQ("true",
              Result(CertStrToNameA(kEncoding, name, CERT_X500_NAME_STR, nullptr, encoded.data(), &length, nullptr)));
    return encoded;
  }

  // CertificationRequestInfo (RFC 2986, section 4.1). Not every system has an encoder for it.
  Bytes RequestInfo(const Bytes& subject) const {
    DWORD length = 0;
    CryptExportPublicKeyInfo(Handle(), AT_KEYEXCHANGE, kEncoding, nullptr, &length);
    Bytes info(length);
    EXPECT_EQ("true", Result(CryptExportPublicKeyInfo(Handle(), AT_KEYEXCHANGE, kEncoding,
                                                      reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(info.data()), &length)));
    CryptEncodeObject(kEncoding, X509_PUBLIC_KEY_INFO, info.data(), nullptr, &length);
    Bytes key(length);
    EXPECT_EQ("true", Result(CryptEncodeObject(kEncoding, X509_PUBLIC_KEY_INFO, info.data(), key.data(), &length)));
    Bytes content = {0x02, 0x01, 0x00};  // the version
    content.insert(content.end(), subject.begin(), subject.end());
    content.insert(content.end(), key.begin(), key.begin() + length);
    content.insert(content.end(), {0xA0, 0x00});  // no attributes
    Bytes sequence = {0x30, 0x82, static_cast<BYTE>(content.size() >> 8U), static_cast<BYTE>(content.size())};
    sequence.insert(sequence.end(), content.begin(), content.end());
    return sequence;
  }

  Bytes Signed(Bytes info) const {
    std::string oid = szOID_RSA_SHA256RSA;
    BYTE null[] = {5, 0};
    CRYPT_ALGORITHM_IDENTIFIER algorithm = {oid.data(), {sizeof(null), null}};
    const auto size = static_cast<DWORD>(info.size());
    DWORD length = 0;
    EXPECT_EQ("true", Result(CryptSignCertificate(Handle(), AT_KEYEXCHANGE, kEncoding, info.data(), size, &algorithm,
                                                  nullptr, nullptr, &length)));
    Bytes signature(length);
    EXPECT_EQ("true", Result(CryptSignCertificate(Handle(), AT_KEYEXCHANGE, kEncoding, info.data(), size, &algorithm,
                                                  nullptr, signature.data(), &length)));
    CERT_SIGNED_CONTENT_INFO content = {{size, info.data()}, algorithm, {length, signature.data(), 0}};
    CryptEncodeObject(kEncoding, X509_CERT, &content, nullptr, &length);
    Bytes encoded(length);
    EXPECT_EQ("true", Result(CryptEncodeObject(kEncoding, X509_CERT, &content, encoded.data(), &length)));
    encoded.resize(length);
    return encoded;
  }
};

TEST_F(MakeTest, AKeyARequestAndACertificateAreCreated) {
  OpenEnrolled(CRYPT_NEWKEYSET);
  HCRYPTKEY key = 0;
  ASSERT_EQ("true", Result(CryptGenKey(Handle(), AT_KEYEXCHANGE, 2048U << 16U, &key)));
  DWORD bits = 0;
  DWORD length = sizeof(bits);
  EXPECT_EQ("true", Result(CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&bits), &length, 0)));
  EXPECT_EQ(2048U, bits);

  Bytes subject = EncodedName("CN=Enrolled, O=Tests");
  Write("request.der", Signed(RequestInfo(subject)));

  CERT_NAME_BLOB name = {static_cast<DWORD>(subject.size()), subject.data()};
  std::string oid = szOID_RSA_SHA256RSA;
  CRYPT_ALGORITHM_IDENTIFIER algorithm = {oid.data(), {0, nullptr}};
  const PCCERT_CONTEXT certificate =
      CertCreateSelfSignCertificate(Handle(), &name, 0, nullptr, &algorithm, nullptr, nullptr, nullptr);
  ASSERT_NE(nullptr, certificate) << GetLastError();
  Write("certificate.der", {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded});
  EXPECT_EQ("true", Result(CryptSetKeyParam(key, KP_CERTIFICATE, certificate->pbCertEncoded, 0)));

  length = 0;
  EXPECT_EQ("true", Result(CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &length, 0)));
  Bytes written(length);
  EXPECT_EQ("true", Result(CryptGetKeyParam(key, KP_CERTIFICATE, written.data(), &length, 0)));
  EXPECT_EQ(Read("certificate.der"), written);
  CertFreeCertificateContext(certificate);
  CryptDestroyKey(key);
}

TEST_F(MakeTest, AnExistingContainerIsNotCreatedAgain) {
  EXPECT_EQ("8009000F", AcquireResult(Named(kReaderA, kContainer).c_str(), CRYPT_NEWKEYSET));
}

// --- A later process

using LaterTest = EnrolmentTest;

TEST_F(LaterTest, TheContainerIsEnumeratedAndSigns) {
  ASSERT_EQ("true", AcquireResult("\\\\.\\TELVO Reader A\\", 0));
  BYTE name[128] = {};
  DWORD length = sizeof(name);
  ASSERT_EQ("true", Result(CryptGetProvParam(Handle(), PP_ENUMCONTAINERS, name, &length, CRYPT_FIRST)));
  EXPECT_STREQ(kContainer, reinterpret_cast<const char*>(name));
  Release();
  OpenEnrolled(0);
  Write("message.signature", Reversed(Sign(HashOf(Message(), CALG_SHA_256))));
}

TEST_F(LaterTest, TheContainerIsFoundByItsCertificateAndSigns) {
  OpenEnrolled(0);
  HCERTSTORE store = nullptr;
  DWORD length = sizeof(store);
  ASSERT_EQ("true",
            Result(CryptGetProvParam(Handle(), PP_USER_CERTSTORE, reinterpret_cast<BYTE*>(&store), &length, 0)));
  const PCCERT_CONTEXT certificate =
      CertFindCertificateInStore(store, kEncoding, 0, CERT_FIND_SUBJECT_STR, L"Enrolled", nullptr);
  ASSERT_NE(nullptr, certificate);
  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE provider = 0;
  DWORD spec = 0;
  BOOL isOurs = FALSE;
  ASSERT_EQ("true", Result(CryptAcquireCertificatePrivateKey(certificate, 0, nullptr, &provider, &spec, &isOurs)));
  EXPECT_EQ(static_cast<DWORD>(AT_KEYEXCHANGE), spec);
  Write("found.signature", Reversed(Sign(HashOf(provider, Message(), CALG_SHA_256))));
  if (isOurs != FALSE) CryptReleaseContext(provider, 0);
  CertFreeCertificateContext(certificate);
  CertCloseStore(store, 0);
}

// --- The last process

using DeleteTest = EnrolmentTest;

TEST_F(DeleteTest, TheContainerIsDeletedWithItsKeysAndCertificate) {
  // A deletion does not ask for the PIN, so another context supplies it first.
  OpenEnrolled(0);
  HCRYPTPROV deleted = 0;
  EXPECT_EQ("true", Result(CryptAcquireContextA(&deleted, Named(kReaderA, kContainer).c_str(), kProviderName,
                                                PROV_RSA_FULL, CRYPT_DELETEKEYSET)));
  EXPECT_EQ(0U, m_cardA.CountObjects());
}

}  // namespace
