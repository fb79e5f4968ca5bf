#include "Side.h"

#include "ProviderRegistration.h"
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

// This provider deletes while somebody is logged in. The platform's one keeps its keys when a context ends.
Fresh::~Fresh() {
  if (!m_side.IsThis()) m_context.Release();
  HCRYPTPROV none = 0;
  CryptAcquireContextA(&none, m_name.c_str(), m_side.Provider(), m_side.Type(), CRYPT_DELETEKEYSET);
}

Key Pair(HCRYPTPROV context, DWORD keySpec) {
  HCRYPTKEY key = 0;
  Step(CryptGetUserKey(context, keySpec, &key), "CryptGetUserKey");
  return Key(key);
}

Key Generated(HCRYPTPROV context, ALG_ID algorithm, DWORD flags) {
  HCRYPTKEY key = 0;
  Step(CryptGenKey(context, algorithm, flags, &key), "CryptGenKey");
  return Key(key);
}

Hash HashOf(HCRYPTPROV context, ALG_ID algorithm, const std::string& data) {
  HCRYPTHASH hash = 0;
  Step(CryptCreateHash(context, algorithm, 0, 0, &hash), "CryptCreateHash");
  Step(CryptHashData(hash, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()), 0),
       "CryptHashData");
  return Hash(hash);
}

std::string HashValue(HCRYPTHASH hash) {
  Bytes value(64);
  DWORD length = static_cast<DWORD>(value.size());
  const BOOL done = CryptGetHashParam(hash, HP_HASHVAL, value.data(), &length, 0);
  return Answer(done, Hex(value));
}

Bytes Exported(HCRYPTKEY key, DWORD type, HCRYPTKEY exchangeKey) {
  DWORD length = 0;
  Step(CryptExportKey(key, exchangeKey, type, 0, nullptr, &length), "CryptExportKey");
  Bytes blob(length);
  Step(CryptExportKey(key, exchangeKey, type, 0, blob.data(), &length), "CryptExportKey");
  return blob;
}

Bytes SimpleBlobFor(HCRYPTPROV context, ALG_ID algorithm, DWORD length) {
  const Verifying other(Side::Platform());
  const Key pair = Pair(context);
  const Key publicKey = Imported(other, Exported(pair, PUBLICKEYBLOB));
  Bytes plain = {PLAINTEXTKEYBLOB,
                 CUR_BLOB_VERSION,
                 0,
                 0,
                 static_cast<BYTE>(algorithm),
                 static_cast<BYTE>(algorithm >> 8U),
                 0,
                 0,
                 static_cast<BYTE>(length),
                 0,
                 0,
                 0};
  for (DWORD i = 0; i < length; ++i) plain.push_back(static_cast<BYTE>(i + 1));
  const Key session = Imported(other, plain);
  return Exported(session, SIMPLEBLOB, publicKey);
}

Key Imported(HCRYPTPROV context, const Bytes& blob, HCRYPTKEY pair, DWORD flags) {
  HCRYPTKEY key = 0;
  Step(CryptImportKey(context, blob.data(), static_cast<DWORD>(blob.size()), pair, flags, &key), "CryptImportKey");
  return Key(key);
}

Key Session(HCRYPTPROV context, ALG_ID algorithm, DWORD length) {
  const Key pair = Pair(context);
  return Imported(context, SimpleBlobFor(context, algorithm, length), pair);
}
