#include "adapter/Values.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace adapter {

using pkcs11::Secret;

namespace {

Secret BytesOfNumber(CK_ULONG value) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&value);
  return {bytes, bytes + sizeof value};
}

}  // namespace

Values::Values(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  for (CK_ULONG i = 0; i < count; ++i) {
    const auto* const bytes = static_cast<const unsigned char*>(attributes[i].pValue);
    Set(attributes[i].type, bytes == nullptr ? Secret() : Secret(bytes, bytes + attributes[i].ulValueLen));
  }
}

void Values::Set(CK_ATTRIBUTE_TYPE type, Secret value) { m_values[type] = std::move(value); }
void Values::SetNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value) { Set(type, BytesOfNumber(value)); }
void Values::SetFlag(CK_ATTRIBUTE_TYPE type, bool value) { Set(type, Secret(1, value ? CK_TRUE : CK_FALSE)); }

void Values::AddBytes(CK_ATTRIBUTE_TYPE type, Secret value) { m_values.emplace(type, std::move(value)); }
void Values::AddNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value) { AddBytes(type, BytesOfNumber(value)); }
void Values::AddFlag(CK_ATTRIBUTE_TYPE type, bool value) { AddBytes(type, Secret(1, value ? CK_TRUE : CK_FALSE)); }

const Secret* Values::Find(CK_ATTRIBUTE_TYPE type) const {
  const auto found = m_values.find(type);
  return found == m_values.end() ? nullptr : &found->second;
}

const Secret& Values::Bytes(CK_ATTRIBUTE_TYPE type) const {
  static const Secret nothing;
  const Secret* const value = Find(type);
  return value == nullptr ? nothing : *value;
}

std::optional<CK_ULONG> Values::Number(CK_ATTRIBUTE_TYPE type) const {
  const Secret* const value = Find(type);
  CK_ULONG number = 0;
  if (value == nullptr || value->size() != sizeof number) return std::nullopt;
  std::memcpy(&number, value->data(), sizeof number);
  return number;
}

bool Values::Flag(CK_ATTRIBUTE_TYPE type) const {
  const Secret& value = Bytes(type);
  return !value.empty() && value.front() != CK_FALSE;
}

bool Values::Matches(const CK_ATTRIBUTE* wanted, CK_ULONG count) const {
  return std::all_of(wanted, wanted + count, [&](const CK_ATTRIBUTE& attribute) {
    const Secret* const value = Find(attribute.type);
    return value != nullptr && value->size() == attribute.ulValueLen &&
           std::equal(value->begin(), value->end(), static_cast<const unsigned char*>(attribute.pValue));
  });
}

CK_RV Answer(const Secret* value, CK_ATTRIBUTE& attribute) {
  if (value == nullptr) {
    attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  if (attribute.pValue != nullptr && attribute.ulValueLen < value->size()) {
    attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_BUFFER_TOO_SMALL;
  }
  if (attribute.pValue != nullptr)
    std::copy(value->begin(), value->end(), static_cast<unsigned char*>(attribute.pValue));
  attribute.ulValueLen = static_cast<CK_ULONG>(value->size());
  return CKR_OK;
}

Secret WithoutLeadingZeros(const Secret& number) {
  return {std::find_if(number.begin(), number.end(), [](unsigned char byte) { return byte != 0; }), number.end()};
}

CK_ULONG BitLength(const Secret& number) {
  const Secret digits = WithoutLeadingZeros(number);
  if (digits.empty()) return 0;
  CK_ULONG bits = 8 * static_cast<CK_ULONG>(digits.size() - 1);
  for (unsigned rest = digits.front(); rest != 0; rest >>= 1U) ++bits;
  return bits;
}

}  // namespace adapter
