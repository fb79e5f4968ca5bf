// SecretKey: a symmetric key of the token.
#pragma once

#include <string>

#include "cryptoki/CryptokiObject.h"

class SecretKey : public CryptokiObject {
 public:
  SecretKey() = default;
  // Copies what every object has from `base`.
  explicit SecretKey(const CryptokiObject& base) : CryptokiObject(base) {}

  ~SecretKey() override;
  void Update(const std::list<Attribute>& attributes) override;
  void Retrieve() override;

  // The name of a key type: "AES Key", "Unknown Key Type". A vendor's type gives an empty string.
  //
  // Required: for a vendor's type the description is put in front of the name that this key has.
  std::string KeyTypeName(CK_KEY_TYPE type);

  CK_KEY_TYPE GetKeyType() const { return m_keyType; }
  const std::string& GetKeyTypeName() const { return m_keyTypeName; }
  bool CanDerive() const { return m_derive != 0; }
  bool CanWrap() const { return m_wrap != 0; }
  bool CanUnwrap() const { return m_unwrap != 0; }
  bool CanEncrypt() const { return m_encrypt != 0; }
  bool CanDecrypt() const { return m_decrypt != 0; }
  bool CanSign() const { return m_sign != 0; }
  bool CanVerify() const { return m_verify != 0; }

 private:
  CK_KEY_TYPE m_keyType = 0;
  std::string m_keyTypeName;
  CK_BBOOL m_derive = CK_FALSE;
  CK_BBOOL m_wrap = CK_FALSE;
  CK_BBOOL m_unwrap = CK_FALSE;
  CK_BBOOL m_encrypt = CK_FALSE;
  CK_BBOOL m_decrypt = CK_FALSE;
  CK_BBOOL m_sign = CK_FALSE;
  CK_BBOOL m_verify = CK_FALSE;
};
