#include "Side.h"

#include "ProviderRegistration.h"
#include "Steps.h"
#include "common/FormatNumber.h"

const char kReader[] = "TELVO Reader A";

const Side& Side::Platform() {
  static const Side side(MS_ENH_RSA_AES_PROV_A, PROV_RSA_AES);
  return side;
}

const Side& Side::This() {
  static const Side side(kProviderName, PROV_RSA_FULL);
  return side;
}

std::string Side::Container(const std::string& name) const {
  return IsThis() ? "\\\\.\\" + std::string(kReader) + "\\" + name : name;
}

std::string Side::NewName() const {
  static DWORD made = 0;
  return "row" + FormatNumber("%04u", ++made);
}

void Side::GivePin(HCRYPTPROV context) const {
  const BYTE pin[] = "123456";
  if (IsThis()) Step(CryptSetProvParam(context, PP_KEYEXCHANGE_PIN, pin, 0), "PP_KEYEXCHANGE_PIN");
}

void Side::Prepare() const {
  const Context context(*this, Container("prepared").c_str(), CRYPT_NEWKEYSET);
  GivePin(context);
  const Key pair = Generated(context, AT_KEYEXCHANGE, 1024U << 16U);
  if (!IsThis()) {
    const Key signing = Generated(context, AT_SIGNATURE, 1024U << 16U);
    return;
  }
  BYTE subject[64];
  CERT_NAME_BLOB name = {sizeof subject, subject};
  Step(CertStrToNameA(X509_ASN_ENCODING, "CN=Prepared", CERT_X500_NAME_STR, nullptr, subject, &name.cbData, nullptr),
       "CertStrToName");
  const CERT_CONTEXT* const certificate =
      CertCreateSelfSignCertificate(context, &name, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
  Step(certificate != nullptr, "CertCreateSelfSignCertificate");
  Step(CryptSetKeyParam(pair, KP_CERTIFICATE, certificate->pbCertEncoded, 0), "KP_CERTIFICATE");
  CertFreeCertificateContext(certificate);
}

Context::Context(const Side& side, const char* name, DWORD flags) {
  Step(CryptAcquireContextA(&m_handle, name, side.Provider(), side.Type(), flags), "CryptAcquireContext");
}

Context::~Context() {
  const DWORD lastError = GetLastError();
  Release();
  SetLastError(lastError);
}

void Context::Release() {
  if (m_handle != 0) CryptReleaseContext(m_handle, 0);
  m_handle = 0;
}

Prepared::Prepared(const Side& side, DWORD flags) : Context(side, side.Container("prepared").c_str(), flags) {
  side.GivePin(*this);
}

Fresh::Fresh(const Side& side, const std::string& name)
    : m_side(side), m_name(name), m_context(side, name.c_str(), CRYPT_NEWKEYSET) {
  side.GivePin(m_context);
}

// This provider deletes while a context is logged in. The platform's own keeps its keys when a context ends.
Fresh::~Fresh() {
  if (!m_side.IsThis()) m_context.Release();
  HCRYPTPROV none = 0;
  CryptAcquireContextA(&none, m_name.c_str(), m_side.Provider(), m_side.Type(), CRYPT_DELETEKEYSET);
}
