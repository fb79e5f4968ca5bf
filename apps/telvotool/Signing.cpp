#include "telvotool/Signing.h"

#include "telvotool/Der.h"
#include "telvotool/Errors.h"

namespace tool {

PublicKeyInfo::PublicKeyInfo(HCRYPTPROV provider) {
  constexpr char kWhat[] = "the public key cannot be read";
  DWORD length = 0;
  Require(CryptExportPublicKeyInfo(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &length), kWhat);
  m_buffer.resize(length / sizeof(std::uint64_t) + 1);
  Require(CryptExportPublicKeyInfo(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, Get(), &length), kWhat);
}

CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm() {
  static char oid[] = szOID_RSA_SHA256RSA;
  static BYTE derNull[] = {0x05, 0x00};
  return {oid, {sizeof(derNull), derNull}};
}

Bytes SignedContent(HCRYPTPROV provider, Bytes toBeSigned) {
  constexpr char kWhat[] = "the key cannot sign";
  CRYPT_ALGORITHM_IDENTIFIER algorithm = SignatureAlgorithm();
  const auto given = static_cast<DWORD>(toBeSigned.size());
  DWORD length = 0;
  Require(CryptSignCertificate(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, toBeSigned.data(), given, &algorithm,
                               nullptr, nullptr, &length),
          kWhat);
  Bytes signature(length);
  Require(CryptSignCertificate(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, toBeSigned.data(), given, &algorithm,
                               nullptr, signature.data(), &length),
          kWhat);
  // The encoder itself reverses the bytes of the signature.
  CERT_SIGNED_CONTENT_INFO content = {};
  content.ToBeSigned = {given, toBeSigned.data()};
  content.SignatureAlgorithm = algorithm;
  content.Signature = {length, signature.data(), 0};
  return Encode(X509_CERT, &content, "what was signed cannot be encoded");
}

}  // namespace tool
