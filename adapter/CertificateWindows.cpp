// Certificates on Windows, with the system's own functions.
#include <windows.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "adapter/Certificate.h"
#include "adapter/Values.h"

namespace adapter {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

struct FreeContext {
  void operator()(const CERT_CONTEXT* context) const { CertFreeCertificateContext(context); }
};
using Context = std::unique_ptr<const CERT_CONTEXT, FreeContext>;

// The blob that the system makes of an RSA key: two headers, then the modulus, little-endian.
std::vector<BYTE> KeyBlob(const CERT_PUBLIC_KEY_INFO& info) {
  DWORD length = 0;
  if (!CryptDecodeObject(kEncoding, RSA_CSP_PUBLICKEYBLOB, info.PublicKey.pbData, info.PublicKey.cbData, 0, nullptr,
                         &length)) {
    return {};
  }
  std::vector<BYTE> blob(length);
  if (!CryptDecodeObject(kEncoding, RSA_CSP_PUBLICKEYBLOB, info.PublicKey.pbData, info.PublicKey.cbData, 0, blob.data(),
                         &length)) {
    return {};
  }
  blob.resize(length);
  return blob;
}

void ReadRsaKey(const CERT_PUBLIC_KEY_INFO& info, CertificateFacts& facts) {
  constexpr std::size_t kHeaders = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY);
  const std::vector<BYTE> blob = KeyBlob(info);
  if (blob.size() <= kHeaders) return;
  RSAPUBKEY header = {};
  std::copy_n(blob.begin() + sizeof(BLOBHEADER), sizeof header, reinterpret_cast<BYTE*>(&header));
  facts.modulus = WithoutLeadingZeros({blob.rbegin(), blob.rend() - kHeaders});
  const auto exponent = static_cast<std::uint32_t>(header.pubexp);
  for (int shift = 24; shift >= 0; shift -= 8) facts.exponent.push_back(static_cast<BYTE>(exponent >> shift));
  facts.exponent = WithoutLeadingZeros(facts.exponent);
}

KeyUsage UsageOf(CERT_INFO& info) {
  BYTE bits = 0;
  KeyUsage usage;
  if (!CertGetIntendedKeyUsage(kEncoding, &info, &bits, sizeof bits)) return usage;
  usage.signs = (bits & (CERT_DIGITAL_SIGNATURE_KEY_USAGE | CERT_NON_REPUDIATION_KEY_USAGE |
                         CERT_KEY_CERT_SIGN_KEY_USAGE | CERT_CRL_SIGN_KEY_USAGE)) != 0;
  usage.decrypts = (bits & (CERT_KEY_ENCIPHERMENT_KEY_USAGE | CERT_DATA_ENCIPHERMENT_KEY_USAGE)) != 0;
  return usage;
}

}  // namespace

std::optional<CertificateFacts> ReadCertificate(const pkcs11::Secret& der) {
  const Context certificate(CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
  if (certificate == nullptr) return std::nullopt;
  CertificateFacts facts;
  CERT_INFO& info = *certificate->pCertInfo;
  facts.usage = UsageOf(info);
  ReadRsaKey(info.SubjectPublicKeyInfo, facts);
  return facts;
}

}  // namespace adapter
