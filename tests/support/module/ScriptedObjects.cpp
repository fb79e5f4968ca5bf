#include "module/ScriptedObjects.h"

#include <cstring>
#include <utility>

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

Bytes Number(CK_ULONG value) {
  Bytes bytes(sizeof(value));
  std::memcpy(bytes.data(), &value, sizeof(value));
  return bytes;
}

Bytes Flag(bool value) { return Bytes{static_cast<unsigned char>(value ? 1 : 0)}; }

Bytes Counting(std::size_t length, unsigned char first) {
  Bytes bytes(length);
  for (unsigned char& byte : bytes) byte = first++;
  return bytes;
}

Attribute MakeAttribute(CK_ATTRIBUTE_TYPE type, const Bytes& value) {
  Attribute attribute;
  attribute.SetType(type);
  attribute.SetValue(value.data(), static_cast<CK_ULONG>(value.size()));
  return attribute;
}

ScriptedObject ObjectFrom(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  ScriptedObject object;
  for (CK_ULONG i = 0; i < count; ++i) {
    const auto* bytes = static_cast<const unsigned char*>(attributes[i].pValue);
    if (bytes == nullptr) continue;
    object.With(attributes[i].type, Bytes(bytes, bytes + attributes[i].ulValueLen));
  }
  return object;
}

ScriptedObject& ScriptedObject::With(CK_ATTRIBUTE_TYPE type, Bytes value) {
  attributes[type] = std::move(value);
  return *this;
}

ScriptedObject& ScriptedObject::Without(CK_ATTRIBUTE_TYPE type) {
  attributes.erase(type);
  return *this;
}

CK_ULONG ScriptedObject::NumberOf(CK_ATTRIBUTE_TYPE type) const {
  CK_ULONG value = 0;
  const auto found = attributes.find(type);
  if (found != attributes.end() && found->second.size() == sizeof(value)) {
    std::memcpy(&value, found->second.data(), sizeof(value));
  }
  return value;
}

namespace {

ScriptedObject ObjectOf(CK_OBJECT_CLASS objectClass, bool isPrivate) {
  ScriptedObject object;
  object.With(CKA_CLASS, Number(objectClass)).With(CKA_MODIFIABLE, Flag(true)).With(CKA_PRIVATE, Flag(isPrivate));
  object.With(CKA_TOKEN, Flag(true)).With(CKA_ID, {}).With(CKA_LABEL, Text("label"));
  return object;
}

// Sets an attribute unless the object has it.
void Supply(ScriptedObject& object, CK_ATTRIBUTE_TYPE type, Bytes value) {
  object.attributes.emplace(type, std::move(value));
}

void SupplyFlags(ScriptedObject& object, std::initializer_list<CK_ATTRIBUTE_TYPE> types) {
  for (const CK_ATTRIBUTE_TYPE type : types) Supply(object, type, Flag(false));
}

void SupplyRsaDefaults(ScriptedObject& object) {
  const CK_ULONG bits = object.NumberOf(CKA_MODULUS_BITS);
  if (object.attributes.count(CKA_MODULUS) == 0) object.With(CKA_MODULUS, Counting(bits == 0 ? 16 : bits / 8, 0x81));
  Supply(object, CKA_MODULUS_BITS, Number(static_cast<CK_ULONG>(object.attributes[CKA_MODULUS].size() * 8)));
  Supply(object, CKA_PUBLIC_EXPONENT, {1, 0, 1});
  Supply(object, CKA_KEY_TYPE, Number(CKK_RSA));
  Supply(object, CKA_KEY_GEN_MECHANISM, Number(CKM_RSA_PKCS_KEY_PAIR_GEN));
  SupplyFlags(object, {CKA_WRAP, CKA_UNWRAP, CKA_ENCRYPT, CKA_DECRYPT, CKA_SIGN, CKA_SIGN_RECOVER, CKA_VERIFY,
                       CKA_VERIFY_RECOVER, CKA_LOCAL, CKA_ALWAYS_SENSITIVE, CKA_NEVER_EXTRACTABLE, CKA_SENSITIVE,
                       CKA_EXTRACTABLE});
}

}  // namespace

ScriptedObject CertificateObject(const Bytes& id, const std::string& label, const Bytes& value) {
  ScriptedObject object = ObjectOf(CKO_CERTIFICATE, false);
  object.With(CKA_ID, id).With(CKA_LABEL, Text(label)).With(CKA_VALUE, value);
  SupplyDefaults(object);
  return object;
}

ScriptedObject PrivateKeyObject(const Bytes& id, const Bytes& modulus) {
  ScriptedObject object = ObjectOf(CKO_PRIVATE_KEY, true);
  object.With(CKA_ID, id).With(CKA_MODULUS, modulus).With(CKA_SIGN, Flag(true)).With(CKA_DECRYPT, Flag(true));
  object.With(CKA_SENSITIVE, Flag(true)).With(CKA_ALWAYS_SENSITIVE, Flag(true)).With(CKA_LOCAL, Flag(true));
  SupplyDefaults(object);
  return object;
}

ScriptedObject PublicKeyObject(const Bytes& id, const Bytes& modulus) {
  ScriptedObject object = ObjectOf(CKO_PUBLIC_KEY, false);
  object.With(CKA_ID, id).With(CKA_MODULUS, modulus).With(CKA_VERIFY, Flag(true)).With(CKA_ENCRYPT, Flag(true));
  object.With(CKA_WRAP, Flag(true)).With(CKA_LOCAL, Flag(true));
  SupplyDefaults(object);
  return object;
}

ScriptedObject SecretKeyObject(CK_KEY_TYPE type, const Bytes& value) {
  ScriptedObject object = ObjectOf(CKO_SECRET_KEY, true);
  object.With(CKA_KEY_TYPE, Number(type)).With(CKA_VALUE, value).With(CKA_TOKEN, Flag(false));
  object.With(CKA_ENCRYPT, Flag(true)).With(CKA_DECRYPT, Flag(true)).With(CKA_EXTRACTABLE, Flag(true));
  SupplyDefaults(object);
  return object;
}

ScriptedObject DataObject(const Bytes& objectId, const std::string& application) {
  ScriptedObject object = ObjectOf(CKO_DATA, false);
  object.Without(CKA_ID).With(CKA_OBJECT_ID, objectId).With(CKA_APPLICATION, Text(application));
  return object;
}

void SupplyDefaults(ScriptedObject& object) {
  Supply(object, CKA_MODIFIABLE, Flag(true));
  Supply(object, CKA_PRIVATE, Flag(false));
  Supply(object, CKA_TOKEN, Flag(false));
  Supply(object, CKA_LABEL, {});
  Supply(object, CKA_ID, {});
  switch (object.NumberOf(CKA_CLASS)) {
    case CKO_CERTIFICATE:
      Supply(object, CKA_CERTIFICATE_TYPE, Number(CKC_X_509));
      Supply(object, CKA_ENCRYPT, Flag(true));
      Supply(object, CKA_VERIFY, Flag(true));
      Supply(object, CKA_DEFAULT_CERT, Flag(false));
      break;
    case CKO_PUBLIC_KEY:
    case CKO_PRIVATE_KEY:
      SupplyRsaDefaults(object);
      break;
    case CKO_SECRET_KEY:
      SupplyFlags(object, {CKA_DERIVE, CKA_WRAP, CKA_UNWRAP, CKA_ENCRYPT, CKA_DECRYPT, CKA_SIGN, CKA_VERIFY,
                           CKA_SENSITIVE, CKA_EXTRACTABLE});
      break;
    default:
      break;
  }
}
