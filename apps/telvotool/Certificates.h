// Certificates: reading and describing them, and those of the provider in the user's store MY.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <string>

#include "telvotool/Files.h"
#include "telvotool/Handles.h"

namespace tool {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// Raises Failure when the bytes are not a certificate.
CertificateHandle DecodeCertificate(const Bytes& der, const std::string& what);
// DER or PEM.
CertificateHandle ReadCertificate(const std::string& path);
Bytes DerOf(PCCERT_CONTEXT certificate);

// "CN=Anna, O=Example", in the order in which Windows shows it, the reverse of RFC 4514's.
std::string SubjectOf(PCCERT_CONTEXT certificate);
// "2031-12-31", in UTC.
std::string LastDayOf(PCCERT_CONTEXT certificate);
// SHA-1 of the certificate in 40 hexadecimal digits, which Windows uses to identify certificates.
std::string ThumbprintOf(PCCERT_CONTEXT certificate);

// Has the provider copy the certificates of the card in `reader` into MY, each with its container.
void Propagate(const std::string& reader);

// Calls `take` for each certificate of MY that points to a container of the provider.
void ForEachOwn(const std::function<void(PCCERT_CONTEXT certificate, const std::string& container)>& take);
// Removes the certificates that point to `container` from MY; returns how many.
unsigned ForgetOwn(const std::string& container);

}  // namespace tool
