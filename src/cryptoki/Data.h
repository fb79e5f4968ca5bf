// Data: a data object of the token. Its identifier is CKA_OBJECT_ID.
#pragma once

#include <string>

#include "cryptoki/CryptokiObject.h"

class Data : public CryptokiObject {
 public:
  Data() = default;
  // Copies what every object has from `base`.
  explicit Data(const CryptokiObject& base) : CryptokiObject(base) {}

  ~Data() override;
  void Update(const std::list<Attribute>& attributes) override;
  void GetID(BYTE* out, CK_ULONG* length) override;
  void Retrieve() override;

  // CKA_APPLICATION through DecodeText.
  const std::string& GetApplication() const { return m_application; }

 private:
  std::string m_application;
};
