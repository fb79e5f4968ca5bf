// What the adapter reads out of an X.509 certificate.
#pragma once

#include <cstddef>
#include <optional>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

namespace adapter {

// Uses of a key, as the extension "key usage" names them. A certificate without the extension allows all.
struct KeyUsage {
  bool signs = true;     // digitalSignature, nonRepudiation, keyCertSign or cRLSign
  bool decrypts = true;  // keyEncipherment or dataEncipherment
};

struct CertificateFacts {
  pkcs11::Secret modulus, exponent;  // big-endian, without leading zeros; empty for a key that is not RSA
  KeyUsage usage;
};

// ReadCertificate parses a DER-encoded certificate with the platform's own library; no value if it is not one.
std::optional<CertificateFacts> ReadCertificate(const pkcs11::Secret& der);

}  // namespace adapter
