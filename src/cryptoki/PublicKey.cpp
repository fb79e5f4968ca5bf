#include "cryptoki/PublicKey.h"

PublicKey::~PublicKey() = default;

void PublicKey::Update(const std::list<Attribute>& attributes) {
  CryptokiObject::Update(attributes);
  StoreTypedFields(attributes);
}

void PublicKey::TakeAttributes(const std::list<Attribute>& attributes) {
  SetAttributes(attributes);
  StoreTypedFields(attributes);
}

void PublicKey::StoreTypedFields(const std::list<Attribute>& attributes) {
  CK_MECHANISM_TYPE mechanism = m_keyGenMechanism.GetType();
  StoreFields(attributes,
              {FieldOf(CKA_KEY_TYPE, m_keyType), FieldOf(CKA_ENCRYPT, m_encrypt), FieldOf(CKA_WRAP, m_wrap),
               FieldOf(CKA_VERIFY, m_verify), FieldOf(CKA_VERIFY_RECOVER, m_verifyRecover),
               FieldOf(CKA_MODULUS_BITS, m_modulusBits), FieldOf(CKA_LOCAL, m_local),
               FieldOf(CKA_NEVER_EXTRACTABLE, m_neverExtractable), FieldOf(CKA_ALWAYS_SENSITIVE, m_alwaysSensitive),
               FieldOf(CKA_KEY_GEN_MECHANISM, mechanism)});
  m_keyGenMechanism.SetType(mechanism);
}

void PublicKey::Retrieve() {
  CK_MECHANISM_TYPE mechanism = m_keyGenMechanism.GetType();
  ReadFields({FieldOf(CKA_KEY_TYPE, m_keyType), FieldOf(CKA_WRAP, m_wrap), FieldOf(CKA_ENCRYPT, m_encrypt),
              FieldOf(CKA_VERIFY, m_verify), FieldOf(CKA_VERIFY_RECOVER, m_verifyRecover), FieldOf(CKA_LOCAL, m_local),
              FieldOf(CKA_MODULUS_BITS, m_modulusBits), FieldOf(CKA_KEY_GEN_MECHANISM, mechanism)});
  m_keyGenMechanism.SetType(mechanism);
  ReadValues({CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_ID});
}

void PublicKey::LinkCertificate(const CryptokiObject& certificate) {
  m_certificate = certificate;
  m_hasCertificate = true;
}

void PublicKey::UnlinkCertificate() {
  m_certificate = CryptokiObject();
  m_hasCertificate = false;
}
