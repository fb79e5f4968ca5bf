// An RSA key pair held by OpenSSL, which independently checks what is done with its public half.
#pragma once

#include <openssl/types.h>
#include <string>

#include "Bytes.h"
#include "adapter/software/RsaPublic.h"

namespace adapter::testing {

class RsaKeyPair {
 public:
  explicit RsaKeyPair(unsigned bits);
  ~RsaKeyPair();
  RsaKeyPair(const RsaKeyPair&) = delete;
  RsaKeyPair& operator=(const RsaKeyPair&) = delete;

  software::RsaPublicKey Public() const;

  // Sign makes a PKCS #1 signature over the message with the named digest.
  Bytes Sign(const char* digest, const Bytes& message) const;
  // SignRaw signs the unchanged data with PKCS #1 padding, and SignBare signs it without padding.
  Bytes SignRaw(const Bytes& data) const;
  Bytes SignBare(const Bytes& block) const;

  // These end the test if OpenSSL refuses the data.
  Bytes Decrypt(const Bytes& encrypted) const;
  Bytes DecryptBare(const Bytes& encrypted) const;
  Bytes DecryptOaep(const char* digest, const std::string& label, const Bytes& encrypted) const;

 private:
  Bytes SignWith(int padding, const Bytes& data) const;
  Bytes DecryptWith(int padding, const char* digest, const std::string& label, const Bytes& encrypted) const;

  EVP_PKEY* m_key;
};

}  // namespace adapter::testing
