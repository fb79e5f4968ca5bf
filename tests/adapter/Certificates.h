// Certificates that OpenSSL makes for the tests.
#pragma once

#include <memory>
#include <openssl/types.h>
#include <string>

namespace adapter::testing {

struct CertifiedKey {
  EVP_PKEY* key;
  std::string modulus;
};

// One RSA key of 1024 bits for all tests of a process.
const CertifiedKey& TestKey();

// A self-signed certificate in DER, with this key usage if it is not empty ("digitalSignature,keyEncipherment").
std::string MakeCertificate(const CertifiedKey& key, const std::string& usage = "");

}  // namespace adapter::testing
