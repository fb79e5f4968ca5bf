#include "telvotool/Extensions.h"

#include <cstdint>
#include <cstring>

#include "telvotool/Der.h"
#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

constexpr char kCannotEncode[] = "an extension cannot be encoded";

// SHA-1 of the key itself, without the algorithm: the first method of RFC 5280, 4.2.1.2.
Bytes KeyIdentifier(const CERT_PUBLIC_KEY_INFO& publicKey) {
  Bytes hash(20);
  auto length = static_cast<DWORD>(hash.size());
  Require(CryptHashCertificate(0, CALG_SHA1, 0, publicKey.PublicKey.pbData, publicKey.PublicKey.cbData, hash.data(),
                               &length),
          "the public key cannot be hashed");
  return hash;
}

CRYPT_DATA_BLOB Blob(Bytes& bytes) { return {static_cast<DWORD>(bytes.size()), bytes.data()}; }

Bytes EncodeKeyUsage() {
  BYTE bits = CERT_DIGITAL_SIGNATURE_KEY_USAGE | CERT_NON_REPUDIATION_KEY_USAGE | CERT_KEY_ENCIPHERMENT_KEY_USAGE;
  constexpr DWORD kUnused = 5;
  const CRYPT_BIT_BLOB usage = {sizeof(bits), &bits, kUnused};
  return Encode(X509_KEY_USAGE, &usage, kCannotEncode);
}

Bytes EncodePurposes(const std::vector<std::string>& purposes) {
  std::vector<char*> oids;
  oids.reserve(purposes.size());
  for (const std::string& purpose : purposes) oids.push_back(const_cast<char*>(purpose.c_str()));
  const CERT_ENHKEY_USAGE usage = {static_cast<DWORD>(oids.size()), oids.data()};
  return Encode(X509_ENHANCED_KEY_USAGE, &usage, kCannotEncode);
}

[[noreturn]] void RefuseSubject(const std::string& subject, const std::string& why) {
  throw UsageError("\"" + subject + "\" is no subject: " + why +
                   "; a subject looks like this: \"CN=Anna Example, O=Example Ltd, C=DE\"");
}

// Checks for what the platform's parser accepts although RFC 5280 does not allow it.
void CheckSubject(const std::string& subject, const Bytes& der) {
  constexpr char kWhat[] = "the subject cannot be read back";
  DWORD length = 0;
  const auto given = static_cast<DWORD>(der.size());
  Require(CryptDecodeObject(X509_ASN_ENCODING, X509_UNICODE_NAME, der.data(), given, 0, nullptr, &length), kWhat);
  std::vector<std::uint64_t> buffer(length / sizeof(std::uint64_t) + 1);  // aligned for the structure
  Require(CryptDecodeObject(X509_ASN_ENCODING, X509_UNICODE_NAME, der.data(), given, 0, buffer.data(), &length), kWhat);
  const auto& name = *reinterpret_cast<const CERT_NAME_INFO*>(buffer.data());
  if (name.cRDN == 0) RefuseSubject(subject, "it is empty");
  for (DWORD i = 0; i < name.cRDN; ++i) {
    for (DWORD j = 0; j < name.rgRDN[i].cRDNAttr; ++j) {
      const CERT_RDN_ATTR& attribute = name.rgRDN[i].rgRDNAttr[j];
      const std::size_t characters = attribute.Value.cbData / sizeof(wchar_t);
      if (characters == 0) RefuseSubject(subject, "a value is empty");
      if (std::strcmp(attribute.pszObjId, szOID_COUNTRY_NAME) == 0 && characters != 2)
        RefuseSubject(subject, "C is a country in two letters");
    }
  }
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
  CheckSubject(subject, der);
  return der;
}

Extensions::Extensions(const CertificateWishes& wishes, const CERT_PUBLIC_KEY_INFO& publicKey)
    : m_keyIdentifier(KeyIdentifier(publicKey)) {
  const CERT_BASIC_CONSTRAINTS2_INFO noAuthority = {};
  m_extensions.push_back(
      {szOID_BASIC_CONSTRAINTS2, true, Encode(X509_BASIC_CONSTRAINTS2, &noAuthority, kCannotEncode)});
  m_extensions.push_back({szOID_KEY_USAGE, true, EncodeKeyUsage()});
  if (!wishes.purposes.empty())
    m_extensions.push_back({szOID_ENHANCED_KEY_USAGE, false, EncodePurposes(wishes.purposes)});
  const CRYPT_DATA_BLOB identifier = Blob(m_keyIdentifier);
  m_extensions.push_back({szOID_SUBJECT_KEY_IDENTIFIER, false, Encode(X509_OCTET_STRING, &identifier, kCannotEncode)});
}

void Extensions::AddOwnAuthority() {
  CERT_AUTHORITY_KEY_ID2_INFO authority = {};
  authority.KeyId = Blob(m_keyIdentifier);
  m_extensions.push_back(
      {szOID_AUTHORITY_KEY_IDENTIFIER2, false, Encode(X509_AUTHORITY_KEY_ID2, &authority, kCannotEncode)});
}

std::vector<CERT_EXTENSION> Extensions::Get() {
  std::vector<CERT_EXTENSION> list;
  for (Extension& extension : m_extensions) {
    list.push_back({const_cast<char*>(extension.oid), extension.critical ? TRUE : FALSE, Blob(extension.der)});
  }
  return list;
}

}  // namespace tool
