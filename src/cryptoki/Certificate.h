// Certificate: a certificate of the token. After an enumeration it also has the key pair of the same identifier, if
// there is one.
#pragma once

#include <string>

#include "cryptoki/CryptokiObject.h"
#include "cryptoki/PrivateKey.h"
#include "cryptoki/PublicKey.h"

class Certificate : public CryptokiObject {
 public:
  Certificate() = default;
  // Copies what every object has from `base`.
  explicit Certificate(const CryptokiObject& base) : CryptokiObject(base) {}

  ~Certificate() override;
  void Update(const std::list<Attribute>& attributes) override;
  void Retrieve() override;

  // The linked public key, with all its fields except its own link to a certificate.
  const PublicKey& GetPublicKey() const { return m_publicKey; }
  // The linked private key, with what every object has and the modulus bits. The rest is in its attributes.
  const PrivateKey& GetPrivateKey() const { return m_privateKey; }
  bool HasPublicKey() const { return m_hasPublicKey; }
  bool HasPrivateKey() const { return m_hasPrivateKey; }
  void LinkPublicKey(const PublicKey& key);
  void LinkPrivateKey(const PrivateKey& key);
  bool CanEncrypt() const { return m_encrypt != 0; }
  bool CanVerify() const { return m_verify != 0; }
  CK_CERTIFICATE_TYPE GetCertificateType() const { return m_certificateType; }
  // Both always empty.
  const std::string& GetSubject() const { return m_subject; }
  const std::string& GetIssuer() const { return m_issuer; }

 private:
  PublicKey m_publicKey;
  PrivateKey m_privateKey;
  bool m_hasPublicKey = false;
  bool m_hasPrivateKey = false;
  CK_BBOOL m_encrypt = CK_FALSE;
  CK_BBOOL m_verify = CK_FALSE;
  CK_CERTIFICATE_TYPE m_certificateType = 0;
  std::string m_subject;
  std::string m_issuer;
};
