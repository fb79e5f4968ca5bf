#include "telvotool/Request.h"

#include <array>

#include "telvotool/Der.h"
#include "telvotool/Errors.h"
#include "telvotool/Signing.h"

namespace tool {

namespace {

// A positive number of exactly sixteen octets, least significant byte first (RFC 5280, 4.1.2.2).
using SerialNumber = std::array<BYTE, 16>;

SerialNumber RandomSerialNumber(HCRYPTPROV provider) {
  SerialNumber serial = {};
  Require(CryptGenRandom(provider, static_cast<DWORD>(serial.size()), serial.data()),
          "the card gives no random serial number");
  serial.back() = static_cast<BYTE>((serial.back() & 0x3FU) | 0x40U);
  return serial;
}

// In whole seconds: a certificate cannot hold fractions.
FILETIME Now() {
  SYSTEMTIME now = {};
  GetSystemTime(&now);
  now.wMilliseconds = 0;
  FILETIME time = {};
  SystemTimeToFileTime(&now, &time);
  return time;
}

FILETIME DaysFrom(const FILETIME& start, DWORD days) {
  ULARGE_INTEGER ticks = {};
  ticks.LowPart = start.dwLowDateTime;
  ticks.HighPart = start.dwHighDateTime;
  ticks.QuadPart += days * 864000000000ULL;  // of 100 ns
  return {ticks.LowPart, ticks.HighPart};
}

// The attribute "extensionRequest" of RFC 2985.
Bytes EncodeExtensionRequest(Extensions& extensions) {
  std::vector<CERT_EXTENSION> list = extensions.Get();
  const CERT_EXTENSIONS wanted = {static_cast<DWORD>(list.size()), list.data()};
  Bytes value = Encode(X509_EXTENSIONS, &wanted, "the extensions cannot be encoded");
  CRYPT_DATA_BLOB blob = {static_cast<DWORD>(value.size()), value.data()};
  char oid[] = szOID_RSA_certExtensions;
  const CRYPT_ATTRIBUTE attribute = {oid, 1, &blob};
  return Encode(PKCS_ATTRIBUTE, &attribute, "the extensions cannot be encoded");
}

// CertificationRequestInfo of RFC 2986, encoded by hand: not every platform has an encoder for it.
Bytes RequestInfo(HCRYPTPROV provider, const CertificateWishes& wishes) {
  PublicKeyInfo publicKey(provider);
  Extensions extensions(wishes, *publicKey.Get());
  Bytes content = Wrap(0x02, {0});  // version
  Append(content, wishes.subject);
  Append(content, Encode(X509_PUBLIC_KEY_INFO, publicKey.Get(), "the public key cannot be encoded"));
  Append(content, Wrap(0xA0, EncodeExtensionRequest(extensions)));
  return Wrap(0x30, content);
}

}  // namespace

// CertCreateSelfSignCertificate is not used: Wine's makes version 1, with serial numbers that may be negative.
Bytes MakeSelfSigned(HCRYPTPROV provider, const CertificateWishes& wishes, DWORD days) {
  PublicKeyInfo publicKey(provider);
  Extensions extensions(wishes, *publicKey.Get());
  extensions.AddOwnAuthority();
  std::vector<CERT_EXTENSION> list = extensions.Get();
  SerialNumber serial = RandomSerialNumber(provider);
  Bytes name = wishes.subject;
  CERT_INFO info = {};
  info.dwVersion = CERT_V3;
  info.SerialNumber = {static_cast<DWORD>(serial.size()), serial.data()};
  info.SignatureAlgorithm = SignatureAlgorithm();
  info.Issuer = {static_cast<DWORD>(name.size()), name.data()};
  info.Subject = info.Issuer;
  info.NotBefore = Now();
  info.NotAfter = DaysFrom(info.NotBefore, days);
  info.SubjectPublicKeyInfo = *publicKey.Get();
  info.cExtension = static_cast<DWORD>(list.size());
  info.rgExtension = list.data();
  return SignedContent(provider, Encode(X509_CERT_TO_BE_SIGNED, &info, "the certificate cannot be encoded"));
}

Bytes MakeRequest(HCRYPTPROV provider, const CertificateWishes& wishes) {
  return SignedContent(provider, RequestInfo(provider, wishes));
}

}  // namespace tool
