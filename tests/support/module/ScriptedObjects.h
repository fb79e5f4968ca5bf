// Objects for a scripted token: attribute by attribute, or whole ones as a card of the family holds them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cryptoki/Attribute.h"
#include "cryptoki/Pkcs11.h"

using Bytes = std::vector<unsigned char>;

// The bytes of a string without its terminating zero, of a number in the machine's byte order, of a boolean.
Bytes Text(const std::string& text);
Bytes Number(CK_ULONG value);
Bytes Flag(bool value);
// `length` bytes that start with `first` and count up.
Bytes Counting(std::size_t length, unsigned char first);

// An attribute as the provider's templates carry it.
Attribute MakeAttribute(CK_ATTRIBUTE_TYPE type, const Bytes& value);

struct ScriptedObject {
  std::map<CK_ATTRIBUTE_TYPE, Bytes> attributes;

  ScriptedObject& With(CK_ATTRIBUTE_TYPE type, Bytes value);
  ScriptedObject& Without(CK_ATTRIBUTE_TYPE type);
  CK_ULONG NumberOf(CK_ATTRIBUTE_TYPE type) const;
};

// An object with the attributes of a template.
ScriptedObject ObjectFrom(const CK_ATTRIBUTE* attributes, CK_ULONG count);

// Each has all attributes that the provider reads for its class. `id` is CKA_ID. CKA_MODULUS_BITS is eight times the
// number of bytes in the modulus.
ScriptedObject CertificateObject(const Bytes& id, const std::string& label, const Bytes& value);
ScriptedObject PrivateKeyObject(const Bytes& id, const Bytes& modulus);
ScriptedObject PublicKeyObject(const Bytes& id, const Bytes& modulus);
ScriptedObject SecretKeyObject(CK_KEY_TYPE type, const Bytes& value);
ScriptedObject DataObject(const Bytes& objectId, const std::string& application);

// Adds the attributes that a token supplies itself to an object that an application made.
void SupplyDefaults(ScriptedObject& object);
