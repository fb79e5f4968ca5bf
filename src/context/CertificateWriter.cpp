#include "context/CertificateWriter.h"

#include "context/CertificateAttributes.h"
#include "context/CertificateHolder.h"
#include "context/LoggedInSession.h"
#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"

namespace {

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

void CertificateWriter::Write(const BYTE* der, DWORD length) {
  if (der == nullptr || length == 0) return;
  g_contextLog.WriteLine("Login");
  const LoggedInSession session(m_context);
  g_contextLog.WriteLine("Checking Private Key");
  const std::vector<BYTE> id = ReadKeyID();
  g_contextLog.WriteLine("Create Certificate Context");
  // Required: bytes that are not a certificate are written as well, with empty attributes.
  const CertificateHolder certificate(
      CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der, length));
  std::list<Attribute> attributes = DescribeCertificate(certificate.get());
  LabelKeys(attributes.back());
  g_contextLog.WriteLine("SetAttribute - CKA_CLASS....");
  attributes.push_back(MakeNumber(CKA_CLASS, CK_OBJECT_CLASS{CKO_CERTIFICATE}));
  g_contextLog.WriteLine("SetAttribute - CKA_ID....");
  attributes.push_back(MakeAttribute(CKA_ID, id.data(), id.size()));
  g_contextLog.WriteLine("SetAttribute - CKA_VALUE....");
  attributes.push_back(MakeAttribute(CKA_VALUE, der, length));
  ReplaceCertificate(*session, attributes);
}

// The last attribute is the label.
std::list<Attribute> CertificateWriter::DescribeCertificate(PCCERT_CONTEXT certificate) {
  std::list<Attribute> attributes;
  g_contextLog.WriteLine("SetAttribute");
  attributes.push_back(MakeNumber(CKA_TOKEN, CK_BBOOL{CK_TRUE}));
  g_contextLog.WriteLine("GetCertIssuer");
  attributes.push_back(m_context.GetCertIssuer(certificate));
  g_contextLog.WriteLine("GetCertSubject");
  attributes.push_back(m_context.GetCertSubject(certificate));
  g_contextLog.WriteLine("GetCertSerialNumber");
  attributes.push_back(m_context.GetCertSerialNumber(certificate));
  g_contextLog.WriteLine("GetCertLabel");
  attributes.push_back(m_context.GetCertLabel(certificate));
  return attributes;
}

// The identifier of the container's keys.
//
// Required: without a private key, the length is read from the public key, but the value from the private key, which
// does not exist. This usually ends with CKR_ARGUMENTS_BAD.
std::vector<BYTE> CertificateWriter::ReadKeyID() {
  CK_ULONG length = 0;
  if (m_context.m_hasPrivateKey != 0) {
    g_contextLog.WriteLine("Get Private Key ID 1");
    m_context.m_privateKey.GetID(nullptr, &length);
    g_contextLog.WriteLine("Get Private Key ID 2");
  } else {
    g_contextLog.WriteLine("Get Public Key ID 1");
    m_context.m_publicKey.GetID(nullptr, &length);
    g_contextLog.WriteLine("Get Public Key ID 2");
  }
  std::vector<BYTE> id(std::size_t{length} + 1);  // a null buffer would ask for the length again
  m_context.m_privateKey.GetID(id.data(), &length);
  id.resize(length);
  return id;
}

void CertificateWriter::LabelKeys(const Attribute& label) {
  if (m_context.m_hasPrivateKey != 0) {
    g_contextLog.WriteLine("Is Private Key Exist");
    UpdateLabel(m_context.m_privateKey, label);
  }
  g_contextLog.WriteLine("Check Public Key");
  if (m_context.m_hasPublicKey != 0) {
    g_contextLog.WriteLine("Is Public Key Exist");
    UpdateLabel(m_context.m_publicKey, label);
  }
}

// The old certificate is destroyed first: a failure leaves the container without one.
void CertificateWriter::ReplaceCertificate(Session& session, const std::list<Attribute>& attributes) {
  try {
    g_contextLog.WriteLine("Try....");
    if (m_context.m_hasCertificate != 0) {
      g_contextLog.WriteLine("Cert Exist....");
      m_context.m_hasCertificate = 0;
      g_contextLog.WriteLine("Destroy Cert....");
      m_context.m_certificate.Destroy();
    }
    g_contextLog.WriteLine("Creating Certificate");
    m_context.m_certificate = Certificate(session.CreateObject(attributes));
    m_context.m_hasCertificate = 1;
    g_contextLog.WriteLine("Creating Certificate Success");
  } catch (const CryptokiError&) {
    g_contextLog.WriteLine("Catch....");
    throw;
  }
}
