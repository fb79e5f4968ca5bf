#include "cryptoki/Certificate.h"

Certificate::~Certificate() = default;

void Certificate::Update(const std::list<Attribute>& attributes) {
  CryptokiObject::Update(attributes);
  StoreFields(attributes, {FieldOf(CKA_CERTIFICATE_TYPE, m_certificateType), FieldOf(CKA_ENCRYPT, m_encrypt),
                           FieldOf(CKA_VERIFY, m_verify)});
}

void Certificate::Retrieve() {
  ReadFields({FieldOf(CKA_ENCRYPT, m_encrypt), FieldOf(CKA_VERIFY, m_verify),
              FieldOf(CKA_CERTIFICATE_TYPE, m_certificateType)});
  ReadValues({CKA_VALUE});
}

void Certificate::LinkPublicKey(const PublicKey& key) {
  m_publicKey = key;
  m_publicKey.UnlinkCertificate();
  m_hasPublicKey = true;
}

void Certificate::LinkPrivateKey(const PrivateKey& key) {
  m_privateKey = PrivateKey(static_cast<const CryptokiObject&>(key));
  m_privateKey.SetModulusBits(key.GetModulusBits());
  m_hasPrivateKey = true;
}
