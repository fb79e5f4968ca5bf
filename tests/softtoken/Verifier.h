// Independent checks by OpenSSL of what the card computes.
#pragma once

#include <memory>
#include <openssl/types.h>
#include <string>

namespace softtoken::testing {

// PublicKey is an RSA key held by OpenSSL.
class PublicKey {
 public:
  PublicKey(const std::string& modulus, const std::string& exponent);
  ~PublicKey();
  PublicKey(const PublicKey&) = delete;
  PublicKey& operator=(const PublicKey&) = delete;

  // Verify checks a signature of `message` with the named digest: PSS if `pss`, otherwise PKCS#1.
  bool Verify(const char* digest, bool pss, const std::string& message, const std::string& signature) const;

  // EncryptOaep encrypts with OAEP, with the named digest and mask digest.
  std::string EncryptOaep(const char* digest, const char* mask, const std::string& label,
                          const std::string& message) const;

 private:
  EVP_PKEY* m_key = nullptr;
};

std::string Digest(const char* name, const std::string& message);
std::string Hmac(const char* name, const std::string& key, const std::string& message);

}  // namespace softtoken::testing
