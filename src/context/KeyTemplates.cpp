#include "context/KeyTemplates.h"

#include "log/Logs.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

// The fields of a session key's identifier and label, and of an imported key's label.
constexpr DWORD kFieldLength = 128;

class TemplateBuilder {
 public:
  TemplateBuilder& Bytes(CK_ATTRIBUTE_TYPE type, const BYTE* bytes, DWORD length) {
    m_attributes.emplace_back();
    m_attributes.back().SetType(type);
    m_attributes.back().SetValue(bytes, length);
    return *this;
  }
  TemplateBuilder& Flag(CK_ATTRIBUTE_TYPE type, bool value) {
    const CK_BBOOL byte = value ? CK_TRUE : CK_FALSE;
    return Bytes(type, &byte, sizeof(byte));
  }
  TemplateBuilder& Number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    return Bytes(type, reinterpret_cast<const BYTE*>(&value), sizeof(value));
  }
  TemplateBuilder& Text(CK_ATTRIBUTE_TYPE type, const std::string& text) {
    return Bytes(type, reinterpret_cast<const BYTE*>(text.data()), static_cast<DWORD>(text.size()));
  }
  // Logs the name of the preceding attribute.
  TemplateBuilder& Log(const char* name) {
    g_contextLog.WriteLine(name);
    return *this;
  }

  std::list<Attribute> Take() { return std::move(m_attributes); }

 private:
  std::list<Attribute> m_attributes;
};

}  // namespace

// Required: the identifier is the name itself, so that the name can be found by it.
std::list<Attribute> PublicKeyTemplate(const std::string& name, DWORD bits) {
  constexpr BYTE kExponent[] = {1, 0, 1};
  return TemplateBuilder()
      .Number(CKA_CLASS, CKO_PUBLIC_KEY)
      .Number(CKA_KEY_TYPE, CKK_RSA)
      .Number(CKA_KEY_GEN_MECHANISM, CKM_RSA_PKCS_KEY_PAIR_GEN)
      .Flag(CKA_TOKEN, true)
      .Flag(CKA_PRIVATE, false)
      .Flag(CKA_ENCRYPT, true)
      .Flag(CKA_VERIFY, true)
      .Flag(CKA_WRAP, true)
      .Flag(CKA_VERIFY_RECOVER, true)
      .Bytes(CKA_PUBLIC_EXPONENT, kExponent, sizeof(kExponent))
      .Number(CKA_MODULUS_BITS, bits)
      .Text(CKA_LABEL, name)
      .Flag(CKA_EXTRACTABLE, true)
      .Flag(CKA_NEVER_EXTRACTABLE, false)
      .Flag(CKA_ALWAYS_SENSITIVE, false)
      .Flag(CKA_LOCAL, true)
      .Flag(CKA_DERIVE, false)
      .Text(CKA_ID, name)
      .Take();
}

// Required: it has CKA_ALWAYS_SENSITIVE twice.
std::list<Attribute> PrivateKeyTemplate(const std::string& name, DWORD bits) {
  return TemplateBuilder()
      .Number(CKA_CLASS, CKO_PRIVATE_KEY)
      .Number(CKA_KEY_TYPE, CKK_RSA)
      .Number(CKA_KEY_GEN_MECHANISM, CKM_RSA_PKCS_KEY_PAIR_GEN)
      .Flag(CKA_TOKEN, true)
      .Flag(CKA_NEVER_EXTRACTABLE, true)
      .Flag(CKA_ALWAYS_SENSITIVE, true)
      .Flag(CKA_LOCAL, true)
      .Flag(CKA_PRIVATE, true)
      .Flag(CKA_SENSITIVE, true)
      .Flag(CKA_DECRYPT, true)
      .Flag(CKA_SIGN, true)
      .Flag(CKA_SIGN_RECOVER, false)
      .Flag(CKA_UNWRAP, true)
      .Number(CKA_MODULUS_BITS, bits)
      .Flag(CKA_ALWAYS_SENSITIVE, true)
      .Text(CKA_LABEL, name)
      .Flag(CKA_EXTRACTABLE, false)
      .Text(CKA_ID, name)
      .Flag(CKA_DERIVE, false)
      .Take();
}

std::list<Attribute> SecretKeyTemplate(ALG_ID algorithm, const BYTE* value, DWORD length) {
  constexpr BYTE kNothing[kFieldLength] = {};
  return TemplateBuilder()
      .Number(CKA_CLASS, CKO_SECRET_KEY)
      .Log("Secret Key")
      .Number(CKA_KEY_TYPE, KeyTypeFromAlgID(algorithm))
      .Log("Key Type")
      .Bytes(CKA_ID, kNothing, kFieldLength)
      .Log("ID ")
      .Bytes(CKA_LABEL, kNothing, kFieldLength)
      .Log("Label")
      .Flag(CKA_DERIVE, true)
      .Log("Derive")
      .Flag(CKA_ENCRYPT, true)
      .Log("Encrypt")
      .Flag(CKA_DECRYPT, true)
      .Log("Decrypt")
      .Flag(CKA_SIGN, true)
      .Log("Sign")
      .Flag(CKA_VERIFY, false)
      .Log("Verify")
      .Flag(CKA_WRAP, true)
      .Log("Wrap")
      .Flag(CKA_UNWRAP, true)
      .Log("Unwrap")
      .Flag(CKA_PRIVATE, true)
      .Log("Private")
      .Flag(CKA_SENSITIVE, false)
      .Log("Sensitive")
      .Flag(CKA_TOKEN, false)
      .Log("Token")
      .Flag(CKA_EXTRACTABLE, true)
      .Log("Exportable")
      .Flag(CKA_MODIFIABLE, true)
      .Log("Modifiable")
      .Bytes(CKA_VALUE, value, length)
      .Log("Key Value: ")
      .Take();
}

std::list<Attribute> ImportedPublicKeyTemplate(const ImportedKeyParts& key) {
  constexpr BYTE kLabel[kFieldLength] = "Generated Key Label";
  return TemplateBuilder()
      .Number(CKA_CLASS, CKO_PUBLIC_KEY)
      .Bytes(CKA_ID, key.id, ImportedKeyParts::kIDLength)
      .Bytes(CKA_LABEL, kLabel, kFieldLength)
      .Bytes(CKA_MODULUS, key.modulus, key.modulusLength)
      .Number(CKA_MODULUS_BITS, key.modulusBits)
      .Bytes(CKA_PUBLIC_EXPONENT, key.exponent, ImportedKeyParts::kExponentLength)
      .Flag(CKA_ENCRYPT, true)
      .Flag(CKA_SIGN_RECOVER, true)
      .Flag(CKA_VERIFY, true)
      .Flag(CKA_TOKEN, false)
      .Number(CKA_KEY_TYPE, CKK_RSA)
      .Flag(CKA_WRAP, true)
      .Flag(CKA_VERIFY_RECOVER, true)
      .Flag(CKA_MODIFIABLE, false)
      .Flag(CKA_PRIVATE, false)
      .Flag(CKA_NEVER_EXTRACTABLE, false)
      .Flag(CKA_EXTRACTABLE, true)
      .Flag(CKA_LOCAL, true)
      .Number(CKA_KEY_GEN_MECHANISM, CKM_RSA_PKCS_KEY_PAIR_GEN)
      .Take();
}
