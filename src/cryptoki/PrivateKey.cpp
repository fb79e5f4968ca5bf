#include "cryptoki/PrivateKey.h"

#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"

PrivateKey::~PrivateKey() = default;

void PrivateKey::Update(const std::list<Attribute>& attributes) {
  g_objectLog.WriteLine("PrivateKey::Update - Entry");
  g_objectLog.WriteLine("PrivateKey::Update - Try....Update");
  try {
    CryptokiObject::Update(attributes);
  } catch (const CryptokiError&) {
    g_objectLog.WriteLine("PrivateKey::Update - Catch....");
    throw;
  }
  CK_MECHANISM_TYPE mechanism = m_keyGenMechanism.GetType();
  StoreFields(
      attributes,
      {FieldOf(CKA_KEY_TYPE, m_keyType), FieldOf(CKA_DECRYPT, m_decrypt), FieldOf(CKA_UNWRAP, m_unwrap),
       FieldOf(CKA_SIGN, m_sign), FieldOf(CKA_SIGN_RECOVER, m_signRecover), FieldOf(CKA_MODULUS_BITS, m_modulusBits),
       FieldOf(CKA_LOCAL, m_local), FieldOf(CKA_NEVER_EXTRACTABLE, m_neverExtractable),
       FieldOf(CKA_ALWAYS_SENSITIVE, m_alwaysSensitive), FieldOf(CKA_KEY_GEN_MECHANISM, mechanism)});
  m_keyGenMechanism.SetType(mechanism);
}

void PrivateKey::Retrieve() {
  CK_MECHANISM_TYPE mechanism = m_keyGenMechanism.GetType();
  ReadFields({FieldOf(CKA_KEY_TYPE, m_keyType), FieldOf(CKA_UNWRAP, m_unwrap), FieldOf(CKA_DECRYPT, m_decrypt),
              FieldOf(CKA_SIGN, m_sign), FieldOf(CKA_SIGN_RECOVER, m_signRecover),
              FieldOf(CKA_ALWAYS_SENSITIVE, m_alwaysSensitive), FieldOf(CKA_NEVER_EXTRACTABLE, m_neverExtractable),
              FieldOf(CKA_LOCAL, m_local), FieldOf(CKA_MODULUS_BITS, m_modulusBits),
              FieldOf(CKA_KEY_GEN_MECHANISM, mechanism), FieldOf(CKA_SENSITIVE, m_sensitive),
              FieldOf(CKA_EXTRACTABLE, m_extractable)});
  m_keyGenMechanism.SetType(mechanism);
  ReadValues({CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_ID});
}

void PrivateKey::LinkCertificate(const CryptokiObject& certificate) {
  m_certificate = certificate;
  m_hasCertificate = true;
}
