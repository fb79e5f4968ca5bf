#include "telvotool/Certificates.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "telvotool/Container.h"
#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

// The container that a certificate points to; empty when it does not point to the provider.
std::string OwnContainer(PCCERT_CONTEXT certificate) {
  DWORD length = 0;
  if (CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length) == FALSE) return "";
  std::vector<std::uint64_t> buffer(length / sizeof(std::uint64_t) + 1);  // aligned for the structure
  if (CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, buffer.data(), &length) == FALSE)
    return "";
  const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data());
  if (info.pwszProvName == nullptr || info.pwszContainerName == nullptr) return "";
  return Narrow(info.pwszProvName) == kProviderName ? Narrow(info.pwszContainerName) : "";
}

StoreHandle OpenMy() {
  StoreHandle store(CertOpenSystemStoreA(0, "MY"));
  if (!store) throw Failure("the store MY cannot be opened", GetLastError());
  return store;
}

void ForEachOwnIn(const StoreHandle& store, const std::function<void(PCCERT_CONTEXT, const std::string&)>& take) {
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(store.Get(), certificate)) != nullptr) {
    const std::string container = OwnContainer(certificate);
    if (!container.empty()) take(certificate, container);
  }
}

// Writes a store's changes now. Some platforms write them only when the store and its last certificate are released, or
// never. The call fails when there is nothing to commit; that does not matter.
void Commit(HCERTSTORE store) { CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr); }

// The bytes that a PEM text contains. Content that is not PEM is returned as it is.
Bytes WithoutPem(const Bytes& content) {
  const auto* const text = reinterpret_cast<const char*>(content.data());
  const auto given = static_cast<DWORD>(content.size());
  DWORD length = 0;
  if (CryptStringToBinaryA(text, given, CRYPT_STRING_BASE64HEADER, nullptr, &length, nullptr, nullptr) == FALSE)
    return content;
  Bytes der(length);
  Require(CryptStringToBinaryA(text, given, CRYPT_STRING_BASE64HEADER, der.data(), &length, nullptr, nullptr),
          "the PEM form is damaged");
  der.resize(length);
  return der;
}

}  // namespace

CertificateHandle DecodeCertificate(const Bytes& der, const std::string& what) {
  CertificateHandle certificate(CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
  if (!certificate) throw Failure(what, GetLastError());
  return certificate;
}

CertificateHandle ReadCertificate(const std::string& path) {
  return DecodeCertificate(WithoutPem(ReadWholeFile(path)), path + " is no certificate");
}

Bytes DerOf(PCCERT_CONTEXT certificate) {
  return {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded};
}

std::string SubjectOf(PCCERT_CONTEXT certificate) {
  CERT_NAME_BLOB* const name = &certificate->pCertInfo->Subject;
  const DWORD length = CertNameToStrW(X509_ASN_ENCODING, name, CERT_X500_NAME_STR, nullptr, 0);
  std::wstring text(length, L'\0');
  CertNameToStrW(X509_ASN_ENCODING, name, CERT_X500_NAME_STR, text.data(), length);
  return Narrow(text.substr(0, text.find(L'\0')));
}

std::string LastDayOf(PCCERT_CONTEXT certificate) {
  SYSTEMTIME time = {};
  FileTimeToSystemTime(&certificate->pCertInfo->NotAfter, &time);
  char text[24];
  static_cast<void>(std::snprintf(text, sizeof(text), "%04d-%02d-%02d", time.wYear, time.wMonth, time.wDay));
  return text;
}

std::string ThumbprintOf(PCCERT_CONTEXT certificate) {
  BYTE hash[20] = {};
  DWORD length = sizeof(hash);
  Require(CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash, &length),
          "no thumbprint can be made");
  std::string text;
  for (const BYTE byte : hash) {
    char digits[3];
    static_cast<void>(std::snprintf(digits, sizeof(digits), "%02X", byte));
    text += digits;
  }
  return text;
}

void Propagate(const std::string& reader) {
  const ProviderHandle provider = Acquire(Target{reader, ""}.FullName(), 0, "the card cannot be opened");
  HCERTSTORE store = nullptr;
  DWORD length = sizeof(store);
  Require(CryptGetProvParam(provider.Get(), PP_USER_CERTSTORE, reinterpret_cast<BYTE*>(&store), &length, 0),
          "the certificates cannot be copied into MY");
  if (store == nullptr) throw Failure("the store MY cannot be opened", kFailed, "");
  const StoreHandle closer(store);
  Commit(store);
}

void ForEachOwn(const std::function<void(PCCERT_CONTEXT, const std::string&)>& take) {
  const StoreHandle store = OpenMy();
  ForEachOwnIn(store, take);
}

unsigned ForgetOwn(const std::string& container) {
  const StoreHandle store = OpenMy();
  // Nothing is deleted during the walk through the store: its next step needs the current certificate.
  std::vector<PCCERT_CONTEXT> found;
  ForEachOwnIn(store, [&](PCCERT_CONTEXT certificate, const std::string& name) {
    if (name == container) found.push_back(CertDuplicateCertificateContext(certificate));
  });
  unsigned gone = 0;
  for (PCCERT_CONTEXT const certificate : found) {
    if (CertDeleteCertificateFromStore(certificate) != FALSE) ++gone;
  }
  Commit(store.Get());
  return gone;
}

}  // namespace tool
