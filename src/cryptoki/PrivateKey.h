// PrivateKey: an RSA private key of the token. After an enumeration it also has the certificate of the same identifier,
// if there is one.
#pragma once

#include "cryptoki/CryptokiObject.h"
#include "cryptoki/Mechanism.h"

class PrivateKey : public CryptokiObject {
 public:
  PrivateKey() = default;
  // Copies what every object has from `base`.
  explicit PrivateKey(const CryptokiObject& base) : CryptokiObject(base) {}

  ~PrivateKey() override;
  void Update(const std::list<Attribute>& attributes) override;
  void Retrieve() override;

  // The modulus, as it was read, most significant byte first. Works like GetID, and logs each step.
  void GetModulus(BYTE* out, CK_ULONG* length) const { CopyCached(CKA_MODULUS, out, length, LogStep); }

  CK_ULONG GetModulusBits() const { return m_modulusBits; }
  void SetModulusBits(CK_ULONG bits) { m_modulusBits = bits; }
  bool CanUnwrap() const { return m_unwrap != 0; }
  bool CanDecrypt() const { return m_decrypt != 0; }
  bool CanSign() const { return m_sign != 0; }
  bool IsAlwaysSensitive() const { return m_alwaysSensitive != 0; }
  bool IsNeverExtractable() const { return m_neverExtractable != 0; }
  bool IsLocal() const { return m_local != 0; }
  bool CanSignRecover() const { return m_signRecover != 0; }
  // Only the type is set.
  const Mechanism& GetKeyGenMechanism() const { return m_keyGenMechanism; }
  CK_KEY_TYPE GetKeyType() const { return m_keyType; }
  const CryptokiObject& GetCertificate() const { return m_certificate; }
  bool HasCertificate() const { return m_hasCertificate; }
  void LinkCertificate(const CryptokiObject& certificate);

 private:
  CK_ULONG m_modulusBits = 0;
  CK_BBOOL m_unwrap = CK_FALSE;
  CK_BBOOL m_decrypt = CK_FALSE;
  CK_BBOOL m_sign = CK_FALSE;
  CK_BBOOL m_alwaysSensitive = CK_FALSE;
  CK_BBOOL m_neverExtractable = CK_FALSE;
  CK_BBOOL m_local = CK_FALSE;
  CK_BBOOL m_signRecover = CK_FALSE;
  Mechanism m_keyGenMechanism;
  CK_KEY_TYPE m_keyType = 0;
  CryptokiObject m_certificate;
  bool m_hasCertificate = false;
};
