// The attributes of one object, as the adapter keeps them.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

namespace adapter {

// Values holds attributes by type. It is wiped when it is destroyed.
class Values {
 public:
  Values() = default;
  // A copy of a checked template. If an attribute occurs twice, the last one counts.
  Values(const CK_ATTRIBUTE* attributes, CK_ULONG count);

  void Set(CK_ATTRIBUTE_TYPE type, pkcs11::Secret value);
  void SetNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
  void SetFlag(CK_ATTRIBUTE_TYPE type, bool value);
  // The Add functions do nothing when the attribute already exists.
  void AddBytes(CK_ATTRIBUTE_TYPE type, pkcs11::Secret value);
  void AddNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
  void AddFlag(CK_ATTRIBUTE_TYPE type, bool value);
  void Remove(CK_ATTRIBUTE_TYPE type) { m_values.erase(type); }

  // Find returns null when there is no such attribute. Bytes returns an empty value then.
  const pkcs11::Secret* Find(CK_ATTRIBUTE_TYPE type) const;
  const pkcs11::Secret& Bytes(CK_ATTRIBUTE_TYPE type) const;
  // No value when the attribute is missing or does not have the size of a number.
  std::optional<CK_ULONG> Number(CK_ATTRIBUTE_TYPE type) const;
  bool Flag(CK_ATTRIBUTE_TYPE type) const;  // false when it is missing

  bool Matches(const CK_ATTRIBUTE* wanted, CK_ULONG count) const;

  auto begin() const { return m_values.begin(); }
  auto end() const { return m_values.end(); }

 private:
  std::map<CK_ATTRIBUTE_TYPE, pkcs11::Secret> m_values;
};

// Answer writes a value into one attribute of the caller, by the rules of C_GetAttributeValue: its length if there is
// no buffer, CKR_BUFFER_TOO_SMALL if the buffer is too small. A null value is CKR_ATTRIBUTE_TYPE_INVALID.
CK_RV Answer(const pkcs11::Secret* value, CK_ATTRIBUTE& attribute);

// The value of a big number without leading zeros.
pkcs11::Secret WithoutLeadingZeros(const pkcs11::Secret& number);
CK_ULONG BitLength(const pkcs11::Secret& number);

}  // namespace adapter
