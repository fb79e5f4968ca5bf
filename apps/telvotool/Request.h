// PKCS #10 requests.
#pragma once

#include "common/Platform.h"

#include <cstdint>
#include <string>
#include <vector>

#include "telvotool/Files.h"

namespace tool {

// A subject like "CN=Anna, O=Example" as DER. Raises Failure.
Bytes EncodeSubject(const std::string& subject);

// The public key of the provider's open container as CryptoAPI's structure, which lies at the beginning of the bytes.
class PublicKeyInfo {
 public:
  explicit PublicKeyInfo(HCRYPTPROV provider);
  CERT_PUBLIC_KEY_INFO* Get() { return reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(m_buffer.data()); }

 private:
  std::vector<std::uint64_t> m_buffer;  // aligned for the structure
};

// A request for `subject`, signed by the container's key with SHA-256, as DER. Raises Failure.
Bytes MakeRequest(HCRYPTPROV provider, const std::string& subject);

}  // namespace tool
