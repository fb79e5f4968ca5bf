// Certificates and certificate stores, kept in the memory of the process.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <string>
#include <vector>
#include <wincrypt.h>

namespace {

using X509Holder = std::shared_ptr<X509>;
using ByteVector = std::vector<BYTE>;

struct KeyInfo {
  std::wstring container;
  std::wstring provider;
  CRYPT_KEY_PROV_INFO numbers;
};

BOOL FailWith(DWORD code) {
  SetLastError(code);
  return FALSE;
}

// A reference-counted certificate; the count starts at 1. CertFreeCertificateContext frees it with the last reference.
class HostCertificate : public CERT_CONTEXT {
 public:
  HostCertificate(X509Holder x509, const BYTE* der, DWORD length)
      : CERT_CONTEXT(), m_x509(std::move(x509)), m_der(der, der + length) {
    dwCertEncodingType = X509_ASN_ENCODING;
    pbCertEncoded = m_der.data();
    cbCertEncoded = length;
    pCertInfo = &m_info;
    m_info.dwVersion = static_cast<DWORD>(X509_get_version(m_x509.get()));
    TakeSerial();
    m_info.Issuer = TakeName(X509_get_issuer_name(m_x509.get()), m_issuer);
    m_info.Subject = TakeName(X509_get_subject_name(m_x509.get()), m_subject);
    TakeExtensions();
  }
  HostCertificate(const HostCertificate&) = delete;
  HostCertificate& operator=(const HostCertificate&) = delete;

  X509* Get() const { return m_x509.get(); }
  void AddReference() { ++m_references; }
  bool RemoveReference() { return --m_references == 0; }
  HostCertificate* Copy() const {
    auto copy = std::make_unique<HostCertificate>(m_x509, m_der.data(), cbCertEncoded);
    if (m_key) copy->m_key = std::make_unique<KeyInfo>(*m_key);
    return copy.release();
  }
  bool HasNumberOf(const HostCertificate& other) const {
    return m_issuer == other.m_issuer && m_serial == other.m_serial;
  }

  std::unique_ptr<KeyInfo> m_key;

 private:
  static CRYPT_INTEGER_BLOB BlobOf(ByteVector& bytes) { return {static_cast<DWORD>(bytes.size()), bytes.data()}; }
  static CERT_NAME_BLOB TakeName(const X509_NAME* name, ByteVector& bytes) {
    const unsigned char* der = nullptr;
    std::size_t length = 0;
    X509_NAME_get0_der(name, &der, &length);
    bytes.assign(der, der + length);
    return BlobOf(bytes);
  }
  // Least significant byte first.
  void TakeSerial() {
    const ASN1_INTEGER* serial = X509_get0_serialNumber(m_x509.get());
    m_serial.assign(serial->data, serial->data + serial->length);
    std::reverse(m_serial.begin(), m_serial.end());
    m_info.SerialNumber = BlobOf(m_serial);
  }
  void TakeExtensions() {
    const int count = X509_get_ext_count(m_x509.get());
    m_extensions.resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      X509_EXTENSION* const extension = X509_get_ext(m_x509.get(), i);
      std::vector<char> id(80);
      OBJ_obj2txt(id.data(), static_cast<int>(id.size()), X509_EXTENSION_get_object(extension), 1);
      m_ids.push_back(std::move(id));
      const ASN1_OCTET_STRING* const value = X509_EXTENSION_get_data(extension);
      m_extensions[static_cast<std::size_t>(i)] = {m_ids.back().data(),
                                                   X509_EXTENSION_get_critical(extension) != 0 ? TRUE : FALSE,
                                                   {static_cast<DWORD>(value->length), value->data}};
    }
    m_info.cExtension = static_cast<DWORD>(count);
    m_info.rgExtension = m_extensions.data();
  }

  std::atomic<int> m_references{1};
  X509Holder m_x509;
  ByteVector m_der;
  ByteVector m_serial;
  ByteVector m_issuer;
  ByteVector m_subject;
  std::list<std::vector<char>> m_ids;
  std::vector<CERT_EXTENSION> m_extensions;
  CERT_INFO m_info{};
};

HostCertificate* From(PCCERT_CONTEXT certificate) {
  return const_cast<HostCertificate*>(static_cast<const HostCertificate*>(certificate));
}

struct FreeCertificate {
  void operator()(HostCertificate* certificate) const { CertFreeCertificateContext(certificate); }
};
using CertificateHolder = std::unique_ptr<HostCertificate, FreeCertificate>;

struct Contents {
  std::mutex mutex;
  std::list<CertificateHolder> certificates;
};

struct HostStore {
  std::shared_ptr<Contents> contents;
};

HostStore* FromStore(HCERTSTORE store) { return static_cast<HostStore*>(store); }

HCERTSTORE NewStore(std::shared_ptr<Contents> contents) {
  return std::make_unique<HostStore>(HostStore{std::move(contents)}).release();
}

}  // namespace

PCCERT_CONTEXT CertCreateCertificateContext(DWORD, const BYTE* der, DWORD length) {
  const unsigned char* position = der;
  X509Holder x509(der != nullptr ? d2i_X509(nullptr, &position, static_cast<long>(length)) : nullptr, &X509_free);
  if (!x509) {
    SetLastError(CRYPT_E_ASN1_BADTAG);
    return nullptr;
  }
  return std::make_unique<HostCertificate>(std::move(x509), der, length).release();
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
  if (certificate != nullptr && From(certificate)->RemoveReference()) {
    const std::unique_ptr<HostCertificate> last(From(certificate));
  }
  return TRUE;
}

BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, DWORD, const void* data) {
  if (property != CERT_KEY_PROV_INFO_PROP_ID) return FailWith(ERROR_INVALID_PARAMETER);
  From(certificate)->m_key.reset();
  if (data == nullptr) return TRUE;
  const auto& info = *static_cast<const CRYPT_KEY_PROV_INFO*>(data);
  From(certificate)->m_key = std::make_unique<KeyInfo>(KeyInfo{info.pwszContainerName, info.pwszProvName, info});
  return TRUE;
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data, DWORD* length) {
  const KeyInfo* const key = From(certificate)->m_key.get();
  if (property != CERT_KEY_PROV_INFO_PROP_ID || key == nullptr) return FailWith(CRYPT_E_NOT_FOUND);
  const std::size_t containerLength = key->container.size() + 1;
  const std::size_t providerLength = key->provider.size() + 1;
  const auto need =
      static_cast<DWORD>(sizeof(CRYPT_KEY_PROV_INFO) + (containerLength + providerLength) * sizeof(wchar_t));
  const DWORD given = *length;
  *length = need;
  if (data == nullptr) return TRUE;
  if (given < need) return FailWith(ERROR_MORE_DATA);
  auto& info = *static_cast<CRYPT_KEY_PROV_INFO*>(data);
  info = key->numbers;
  info.pwszContainerName = reinterpret_cast<wchar_t*>(&info + 1);
  info.pwszProvName = info.pwszContainerName + containerLength;
  std::wmemcpy(info.pwszContainerName, key->container.c_str(), containerLength);
  std::wmemcpy(info.pwszProvName, key->provider.c_str(), providerLength);
  return TRUE;
}

HCERTSTORE CertOpenStore(LPCSTR provider, DWORD, HCRYPTPROV, DWORD, const void*) {
  if (provider == CERT_STORE_PROV_MEMORY) return NewStore(std::make_shared<Contents>());
  SetLastError(static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  return nullptr;
}

HCERTSTORE CertOpenSystemStoreA(HCRYPTPROV, LPCSTR name) {
  static std::mutex mutex;
  static std::map<std::string, std::shared_ptr<Contents>> stores;
  const std::lock_guard<std::mutex> lock(mutex);
  std::shared_ptr<Contents>& contents = stores[name];
  if (!contents) contents = std::make_shared<Contents>();
  return NewStore(contents);
}

BOOL CertCloseStore(HCERTSTORE store, DWORD) {
  const std::unique_ptr<HostStore> last(FromStore(store));
  return TRUE;
}

BOOL CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD disposition,
                                      PCCERT_CONTEXT* added) {
  if (disposition != CERT_STORE_ADD_REPLACE_EXISTING || added != nullptr) return FailWith(ERROR_INVALID_PARAMETER);
  Contents& contents = *FromStore(store)->contents;
  const std::lock_guard<std::mutex> lock(contents.mutex);
  std::list<CertificateHolder> copy(1);  // before the removal, because this may fail
  copy.front().reset(From(certificate)->Copy());
  contents.certificates.remove_if(
      [certificate](const CertificateHolder& other) { return other->HasNumberOf(*From(certificate)); });
  contents.certificates.splice(contents.certificates.end(), copy);
  return TRUE;
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
  Contents& contents = *FromStore(store)->contents;
  const std::lock_guard<std::mutex> lock(contents.mutex);
  auto place = contents.certificates.begin();
  if (previous != nullptr) {
    place = std::find_if(place, contents.certificates.end(),
                         [previous](const CertificateHolder& other) { return other.get() == previous; });
    if (place != contents.certificates.end()) ++place;
    CertFreeCertificateContext(previous);
  }
  if (place == contents.certificates.end()) {
    SetLastError(CRYPT_E_NOT_FOUND);
    return nullptr;
  }
  (*place)->AddReference();
  return place->get();
}

BOOL CertCompareCertificateName(DWORD, PCERT_NAME_BLOB a, PCERT_NAME_BLOB b) {
  return a->cbData == b->cbData && std::memcmp(a->pbData, b->pbData, a->cbData) == 0 ? TRUE : FALSE;
}

BOOL CertVerifySubjectCertificateContext(PCCERT_CONTEXT subject, PCCERT_CONTEXT issuer, DWORD* flags) {
  if ((*flags & ~CERT_STORE_SIGNATURE_FLAG) != 0) return FailWith(ERROR_INVALID_PARAMETER);
  if ((*flags & CERT_STORE_SIGNATURE_FLAG) == 0) return TRUE;
  EVP_PKEY* const key = X509_get0_pubkey(From(issuer)->Get());
  if (key != nullptr && X509_verify(From(subject)->Get(), key) == 1) *flags &= ~CERT_STORE_SIGNATURE_FLAG;
  return TRUE;
}

PCERT_EXTENSION CertFindExtension(LPCSTR id, DWORD count, CERT_EXTENSION* extensions) {
  CERT_EXTENSION* const end = extensions + count;
  CERT_EXTENSION* const found =
      std::find_if(extensions, end, [id](const CERT_EXTENSION& item) { return std::strcmp(item.pszObjId, id) == 0; });
  return found != end ? found : nullptr;
}

BOOL CryptDecodeObject(DWORD, LPCSTR type, const BYTE* der, DWORD derLength, DWORD, void* out, DWORD* length) {
  if (type != X509_BASIC_CONSTRAINTS2) return FailWith(static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  const unsigned char* position = der;
  const std::unique_ptr<BASIC_CONSTRAINTS, decltype(&BASIC_CONSTRAINTS_free)> decoded(
      d2i_BASIC_CONSTRAINTS(nullptr, &position, static_cast<long>(derLength)), &BASIC_CONSTRAINTS_free);
  if (!decoded) return FailWith(CRYPT_E_ASN1_BADTAG);
  const DWORD given = *length;
  *length = sizeof(CERT_BASIC_CONSTRAINTS2_INFO);
  if (out == nullptr) return TRUE;
  if (given < *length) return FailWith(ERROR_MORE_DATA);
  CERT_BASIC_CONSTRAINTS2_INFO info = {};
  info.fCA = decoded->ca != 0 ? TRUE : FALSE;
  info.fPathLenConstraint = decoded->pathlen != nullptr ? TRUE : FALSE;
  if (decoded->pathlen != nullptr) info.dwPathLenConstraint = static_cast<DWORD>(ASN1_INTEGER_get(decoded->pathlen));
  std::memcpy(out, &info, sizeof(info));
  return TRUE;
}
