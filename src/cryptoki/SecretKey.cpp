#include "cryptoki/SecretKey.h"

#include <algorithm>

#include "common/FormatNumber.h"
#include "cryptoki/Names.h"

SecretKey::~SecretKey() = default;

void SecretKey::Update(const std::list<Attribute>& attributes) {
  CryptokiObject::Update(attributes);
  StoreFields(attributes, {FieldOf(CKA_KEY_TYPE, m_keyType), FieldOf(CKA_ENCRYPT, m_encrypt),
                           FieldOf(CKA_DECRYPT, m_decrypt), FieldOf(CKA_WRAP, m_wrap), FieldOf(CKA_UNWRAP, m_unwrap),
                           FieldOf(CKA_SIGN, m_sign), FieldOf(CKA_VERIFY, m_verify), FieldOf(CKA_DERIVE, m_derive)});
  const bool typeChanged = std::any_of(attributes.begin(), attributes.end(),
                                       [](const Attribute& attribute) { return attribute.GetType() == CKA_KEY_TYPE; });
  if (typeChanged) m_keyTypeName = KeyTypeName(m_keyType);
}

void SecretKey::Retrieve() {
  ReadFields({FieldOf(CKA_KEY_TYPE, m_keyType), FieldOf(CKA_DERIVE, m_derive), FieldOf(CKA_WRAP, m_wrap),
              FieldOf(CKA_UNWRAP, m_unwrap), FieldOf(CKA_ENCRYPT, m_encrypt), FieldOf(CKA_DECRYPT, m_decrypt),
              FieldOf(CKA_SIGN, m_sign), FieldOf(CKA_VERIFY, m_verify), FieldOf(CKA_SENSITIVE, m_sensitive),
              FieldOf(CKA_EXTRACTABLE, m_extractable)});
  m_keyTypeName = KeyTypeName(m_keyType);
}

std::string SecretKey::KeyTypeName(CK_KEY_TYPE type) {
  if ((type & CKK_VENDOR_DEFINED) != 0) {
    m_keyTypeName.insert(0, FormatNumber("Vendor Defined Key Type: 0x%08X", static_cast<DWORD>(type)));
    return std::string();
  }
  const char* name = FindKeyTypeName(type);
  return name != nullptr ? name : "Unknown Key Type";
}
