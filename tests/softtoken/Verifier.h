// OpenSSL as the independent judge of what the card computes.
#pragma once

#include <memory>
#include <openssl/types.h>
#include <string>

namespace softtoken::testing {

// PublicKey is an RSA key in OpenSSL's own hands.
class PublicKey {
 public:
  PublicKey(const std::string& modulus, const std::string& exponent);
  ~PublicKey();
  PublicKey(const PublicKey&) = delete;
  PublicKey& operator=(const PublicKey&) = delete;

  // Verify checks a PKCS#1 or, with `pss`, a PSS signature over the hash of `message` by the named digest.
  bool Verify(const char* digest, bool pss, const std::string& message, const std::string& signature) const;

  // EncryptOaep encrypts with OAEP, by the named digest and mask digest.
  std::string EncryptOaep(const char* digest, const char* mask, const std::string& label,
                          const std::string& message) const;

 private:
  EVP_PKEY* m_key = nullptr;
};

std::string Digest(const char* name, const std::string& message);
std::string Hmac(const char* name, const std::string& key, const std::string& message);

}  // namespace softtoken::testing
