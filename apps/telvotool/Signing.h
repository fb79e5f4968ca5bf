// The key of a container, for certificates and requests: its public half, and signatures.
#pragma once

#include "common/Platform.h"

#include <cstdint>
#include <vector>

#include "telvotool/Files.h"

namespace tool {

// The public key of the provider's open container as CryptoAPI's structure, which is at the beginning of the bytes.
class PublicKeyInfo {
 public:
  explicit PublicKeyInfo(HCRYPTPROV provider);
  CERT_PUBLIC_KEY_INFO* Get() { return reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(m_buffer.data()); }

 private:
  std::vector<std::uint64_t> m_buffer;  // aligned for the structure
};

// The algorithm of all signatures: RSA with SHA-256. It points to constants.
CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm();

// `toBeSigned`, the algorithm and the signature of the container's key in one DER object: the form of certificates and
// requests. Raises Failure.
Bytes SignedContent(HCRYPTPROV provider, Bytes toBeSigned);

}  // namespace tool
