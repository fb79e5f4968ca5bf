// PublicKey: an RSA public key of the token. After an enumeration it also has the certificate of the same identifier,
// if there is one.
#pragma once

#include "cryptoki/CryptokiObject.h"
#include "cryptoki/Mechanism.h"

class PublicKey : public CryptokiObject {
 public:
  PublicKey() = default;
  // Copies what every object has from `base`.
  explicit PublicKey(const CryptokiObject& base) : CryptokiObject(base) {}

  ~PublicKey() override;
  void Update(const std::list<Attribute>& attributes) override;
  void Retrieve() override;

  // The modulus, as it was read, most significant byte first. Works like GetID, and logs each step.
  void GetModulus(BYTE* out, CK_ULONG* length) const { CopyCached(CKA_MODULUS, out, length, LogStep); }
  // The public exponent, likewise, but nothing is logged.
  void GetPublicExponent(BYTE* out, CK_ULONG* length) const { CopyCached(CKA_PUBLIC_EXPONENT, out, length); }
  // Stores the attributes that the object was created with, as if they had been read. There is no module call.
  void TakeAttributes(const std::list<Attribute>& attributes);

  CK_ULONG GetModulusBits() const { return m_modulusBits; }
  // Only the type is set.
  const Mechanism& GetKeyGenMechanism() const { return m_keyGenMechanism; }
  CK_KEY_TYPE GetKeyType() const { return m_keyType; }
  const CryptokiObject& GetCertificate() const { return m_certificate; }
  bool HasCertificate() const { return m_hasCertificate; }
  void LinkCertificate(const CryptokiObject& certificate);
  void UnlinkCertificate();
  bool CanWrap() const { return m_wrap != 0; }
  // Set by Update only: Retrieve does not read these two.
  bool IsAlwaysSensitive() const { return m_alwaysSensitive != 0; }
  bool IsNeverExtractable() const { return m_neverExtractable != 0; }
  bool IsLocal() const { return m_local != 0; }
  bool CanEncrypt() const { return m_encrypt != 0; }
  bool CanVerify() const { return m_verify != 0; }
  bool CanVerifyRecover() const { return m_verifyRecover != 0; }

 private:
  void StoreTypedFields(const std::list<Attribute>& attributes);

  CK_ULONG m_modulusBits = 0;
  Mechanism m_keyGenMechanism;
  CK_KEY_TYPE m_keyType = 0;
  CryptokiObject m_certificate;
  bool m_hasCertificate = false;
  CK_BBOOL m_wrap = CK_FALSE;
  CK_BBOOL m_alwaysSensitive = CK_FALSE;
  CK_BBOOL m_neverExtractable = CK_FALSE;
  CK_BBOOL m_local = CK_FALSE;
  CK_BBOOL m_encrypt = CK_FALSE;
  CK_BBOOL m_verify = CK_FALSE;
  CK_BBOOL m_verifyRecover = CK_FALSE;
};
