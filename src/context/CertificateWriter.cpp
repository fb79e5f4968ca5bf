// Writing a certificate to the token. It becomes the container's certificate, tied to the container's keys by their
// CKA_ID and nothing else, and the keys take its label.
#include <algorithm>
#include <array>

#include "common/ReverseBytes.h"
#include "context/CertificateHolder.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/LoginLock.h"
#include "log/Logs.h"

namespace {

// Of no bytes the attribute has its type alone.
Attribute MakeAttribute(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t length) {
  Attribute attribute;
  attribute.SetType(type);
  attribute.SetValue(static_cast<const BYTE*>(value), static_cast<CK_ULONG>(length));
  return attribute;
}

template <typename Number>
Attribute MakeNumber(CK_ATTRIBUTE_TYPE type, Number number) {
  return MakeAttribute(type, &number, sizeof(number));
}

template <typename Key>
void UpdateLabel(Key& key, const Attribute& label) {
  g_contextLog.WriteLine("Try....Update");
  try {
    key.Update({label});
  } catch (...) {
    // Required: whatever goes wrong, the certificate is written.
    g_contextLog.WriteLine("Catch....");
  }
}

}  // namespace

Attribute TELVOCSPContext::GetCertIssuer(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  g_contextLog.WriteLine("Issuer: ");
  const auto& issuer = certificate->pCertInfo->Issuer;
  return MakeAttribute(CKA_ISSUER, issuer.pbData, issuer.cbData);
}

Attribute TELVOCSPContext::GetCertSerialNumber(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  const auto& number = certificate->pCertInfo->SerialNumber;  // little-endian
  std::vector<BYTE> turned(number.pbData, number.pbData + number.cbData);
  ReverseBytes(turned.data(), number.cbData);
  return MakeAttribute(CKA_SERIAL_NUMBER, turned.data(), turned.size());
}

Attribute TELVOCSPContext::GetCertSubject(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  const auto& subject = certificate->pCertInfo->Subject;
  return MakeAttribute(CKA_SUBJECT, subject.pbData, subject.cbData);
}

Attribute TELVOCSPContext::GetCertLabel(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  std::array<char, 256> name = {};
  const DWORD size = CertGetNameStringA(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(),
                                        static_cast<DWORD>(name.size()));
  if (size == 0) return MakeAttribute(CKA_LABEL, "TELVO", 5);
  return MakeAttribute(CKA_LABEL, name.data(), std::min<std::size_t>(size, name.size()) - 1);
}

void TELVOCSPContext::WriteCertificate(const BYTE* der, DWORD length) {
  if (der == nullptr || length == 0) return;
  g_contextLog.WriteLine("Login");
  const LoginLock lock;
  Login();
  Session& session = OpenedSession();
  g_contextLog.WriteLine("Checking Private Key");
  const std::vector<BYTE> id = ReadKeyID();
  g_contextLog.WriteLine("Create Certificate Context");
  // Required: what is no certificate is written as well, with empty attributes.
  const CertificateHolder certificate(
      CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der, length));
  std::list<Attribute> attributes;
  g_contextLog.WriteLine("SetAttribute");
  attributes.push_back(MakeNumber(CKA_TOKEN, CK_BBOOL{CK_TRUE}));
  g_contextLog.WriteLine("GetCertIssuer");
  attributes.push_back(GetCertIssuer(certificate.get()));
  g_contextLog.WriteLine("GetCertSubject");
  attributes.push_back(GetCertSubject(certificate.get()));
  g_contextLog.WriteLine("GetCertSerialNumber");
  attributes.push_back(GetCertSerialNumber(certificate.get()));
  g_contextLog.WriteLine("GetCertLabel");
  attributes.push_back(GetCertLabel(certificate.get()));
  LabelKeys(attributes.back());
  g_contextLog.WriteLine("SetAttribute - CKA_CLASS....");
  attributes.push_back(MakeNumber(CKA_CLASS, CK_OBJECT_CLASS{CKO_CERTIFICATE}));
  g_contextLog.WriteLine("SetAttribute - CKA_ID....");
  attributes.push_back(MakeAttribute(CKA_ID, id.data(), id.size()));
  g_contextLog.WriteLine("SetAttribute - CKA_VALUE....");
  attributes.push_back(MakeAttribute(CKA_VALUE, der, length));
  ReplaceCertificate(session, attributes);
}

// The identifier of the container's keys.
//
// Required: without a private key the length is the public key's, but the value is the private key's, which as a rule
// has none: CKR_ARGUMENTS_BAD.
std::vector<BYTE> TELVOCSPContext::ReadKeyID() {
  CK_ULONG length = 0;
  if (m_hasPrivateKey != 0) {
    g_contextLog.WriteLine("Get Private Key ID 1");
    m_privateKey.GetID(nullptr, &length);
    g_contextLog.WriteLine("Get Private Key ID 2");
  } else {
    g_contextLog.WriteLine("Get Public Key ID 1");
    m_publicKey.GetID(nullptr, &length);
    g_contextLog.WriteLine("Get Public Key ID 2");
  }
  std::vector<BYTE> id(std::size_t{length} + 1);  // a null buffer would ask for the length again
  m_privateKey.GetID(id.data(), &length);
  id.resize(length);
  return id;
}

void TELVOCSPContext::LabelKeys(const Attribute& label) {
  if (m_hasPrivateKey != 0) {
    g_contextLog.WriteLine("Is Private Key Exist");
    UpdateLabel(m_privateKey, label);
  }
  g_contextLog.WriteLine("Check Public Key");
  if (m_hasPublicKey != 0) {
    g_contextLog.WriteLine("Is Public Key Exist");
    UpdateLabel(m_publicKey, label);
  }
}

// The old certificate goes first: a failure leaves the container without one.
void TELVOCSPContext::ReplaceCertificate(Session& session, const std::list<Attribute>& attributes) {
  try {
    g_contextLog.WriteLine("Try....");
    if (m_hasCertificate != 0) {
      g_contextLog.WriteLine("Cert Exist....");
      m_hasCertificate = 0;
      g_contextLog.WriteLine("Destroy Cert....");
      m_certificate.Destroy();
    }
    g_contextLog.WriteLine("Creating Certificate");
    m_certificate = Certificate(session.CreateObject(attributes));
    m_hasCertificate = 1;
    g_contextLog.WriteLine("Creating Certificate Success");
  } catch (const CryptokiError&) {
    g_contextLog.WriteLine("Catch....");
    throw;
  }
}
