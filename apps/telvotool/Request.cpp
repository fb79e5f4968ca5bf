#include "telvotool/Request.h"

#include "telvotool/Certificates.h"
#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

Bytes Encode(LPCSTR type, const void* structure, const char* what) {
  DWORD length = 0;
  Require(CryptEncodeObject(X509_ASN_ENCODING, type, structure, nullptr, &length), what);
  Bytes der(length);
  Require(CryptEncodeObject(X509_ASN_ENCODING, type, structure, der.data(), &length), what);
  der.resize(length);
  return der;
}

// A DER object of a tag and a content of less than 64 KiB.
Bytes Wrap(BYTE tag, const Bytes& content) {
  const std::size_t length = content.size();
  Bytes der = {tag};
  if (length >= 0x100) {
    der.insert(der.end(), {0x82, static_cast<BYTE>(length >> 8U), static_cast<BYTE>(length & 0xFFU)});
  } else if (length >= 0x80) {
    der.insert(der.end(), {0x81, static_cast<BYTE>(length)});
  } else {
    der.push_back(static_cast<BYTE>(length));
  }
  der.insert(der.end(), content.begin(), content.end());
  return der;
}

void Append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

// CertificationRequestInfo of RFC 2986, by hand: not every platform has an encoder for it.
Bytes RequestInfo(HCRYPTPROV provider, const std::string& subject) {
  PublicKeyInfo publicKey(provider);
  Bytes content = Wrap(0x02, {0});  // version
  Append(content, EncodeSubject(subject));
  Append(content, Encode(X509_PUBLIC_KEY_INFO, publicKey.Get(), "the public key cannot be encoded"));
  Append(content, Wrap(0xA0, {}));  // no attributes
  if (content.size() > 0xFFFF) throw Failure("the subject is too long", kUsage, "");
  return Wrap(0x30, content);
}

}  // namespace

Bytes EncodeSubject(const std::string& subject) {
  const std::wstring wide = Wide(subject);
  const std::string what = "\"" + subject + "\" is no subject";
  DWORD length = 0;
  if (CertStrToNameW(X509_ASN_ENCODING, wide.c_str(), CERT_X500_NAME_STR, nullptr, nullptr, &length, nullptr) ==
      FALSE) {
    throw Failure(what, GetLastError());
  }
  Bytes der(length);
  if (CertStrToNameW(X509_ASN_ENCODING, wide.c_str(), CERT_X500_NAME_STR, nullptr, der.data(), &length, nullptr) ==
      FALSE) {
    throw Failure(what, GetLastError());
  }
  der.resize(length);
  return der;
}

PublicKeyInfo::PublicKeyInfo(HCRYPTPROV provider) {
  constexpr char kWhat[] = "the public key cannot be read";
  DWORD length = 0;
  Require(CryptExportPublicKeyInfo(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &length), kWhat);
  m_buffer.resize(length / sizeof(std::uint64_t) + 1);
  Require(CryptExportPublicKeyInfo(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, Get(), &length), kWhat);
}

Bytes MakeRequest(HCRYPTPROV provider, const std::string& subject) {
  constexpr char kWhat[] = "the request cannot be signed";
  Bytes toBeSigned = RequestInfo(provider, subject);
  BYTE derNull[] = {0x05, 0x00};
  char oid[] = szOID_RSA_SHA256RSA;
  CRYPT_ALGORITHM_IDENTIFIER algorithm = {oid, {sizeof(derNull), derNull}};
  const auto given = static_cast<DWORD>(toBeSigned.size());
  DWORD length = 0;
  Require(CryptSignCertificate(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, toBeSigned.data(), given, &algorithm,
                               nullptr, nullptr, &length),
          kWhat);
  Bytes signature(length);
  Require(CryptSignCertificate(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, toBeSigned.data(), given, &algorithm,
                               nullptr, signature.data(), &length),
          kWhat);
  // The encoder turns the signature round itself.
  CERT_SIGNED_CONTENT_INFO content = {};
  content.ToBeSigned = {given, toBeSigned.data()};
  content.SignatureAlgorithm = algorithm;
  content.Signature = {length, signature.data(), 0};
  return Encode(X509_CERT, &content, "the request cannot be encoded");
}

}  // namespace tool
