// Attribute templates for the tests, in either layout.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pkcs11/WindowsTypes.h"

namespace softtoken::testing {

// BasicTemplate builds a template with one call per attribute. Data() points into the object.
template <typename NumberType, typename AttributeType>
class BasicTemplate {
 public:
  BasicTemplate& Flag(CK_ATTRIBUTE_TYPE type, bool value) { return Bytes(type, value ? "\1" : std::string(1, '\0')); }

  BasicTemplate& Number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    const auto number = static_cast<NumberType>(value);
    return Bytes(type, {reinterpret_cast<const char*>(&number), sizeof number});
  }

  BasicTemplate& Bytes(CK_ATTRIBUTE_TYPE type, std::string_view value) {
    m_values.emplace_back(type, std::vector<char>(value.begin(), value.end()));
    return *this;
  }

  AttributeType* Data() {
    m_attributes.clear();
    for (auto& [type, value] : m_values) {
      m_attributes.push_back({static_cast<NumberType>(type), value.data(), static_cast<NumberType>(value.size())});
    }
    return m_attributes.data();
  }
  NumberType Count() const { return static_cast<NumberType>(m_values.size()); }

 private:
  std::vector<std::pair<CK_ATTRIBUTE_TYPE, std::vector<char>>> m_values;
  std::vector<AttributeType> m_attributes;
};

using Template = BasicTemplate<CK_ULONG, CK_ATTRIBUTE>;
using WindowsTemplate = BasicTemplate<pkcs11::windows::Number, pkcs11::windows::Attribute>;

inline std::string FromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

}  // namespace softtoken::testing
