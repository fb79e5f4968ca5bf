// The templates of the keys that the provider makes, attribute by attribute in the order in which the module gets them.
#pragma once

#include "common/Platform.h"

#include <list>
#include <string>

#include "cryptoki/Attribute.h"

// A generated pair of `bits`; `name` is the container's.
std::list<Attribute> PublicKeyTemplate(const std::string& name, DWORD bits);
std::list<Attribute> PrivateKeyTemplate(const std::string& name, DWORD bits);

// A session key with `length` bytes of `value`. Identifier and label are 128 zero bytes each. Each attribute is logged
// by its name. NTE_BAD_ALGID for an algorithm that no session key has.
std::list<Attribute> SecretKeyTemplate(ALG_ID algorithm, const BYTE* value, DWORD length);

// An imported public key. Modulus and exponent are big-endian.
struct ImportedKeyParts {
  static constexpr DWORD kIDLength = 16;
  static constexpr DWORD kExponentLength = 4;

  const BYTE* id;
  const BYTE* modulus;
  DWORD modulusLength;
  DWORD modulusBits;
  const BYTE* exponent;
};
std::list<Attribute> ImportedPublicKeyTemplate(const ImportedKeyParts& key);
