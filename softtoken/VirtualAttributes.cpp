#include "VirtualAttributes.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "SoftHsm.h"

namespace softtoken {
namespace {

// Results of a read that has handled every attribute of the template.
bool IsPartial(CK_RV result) {
  return result == CKR_ATTRIBUTE_SENSITIVE || result == CKR_ATTRIBUTE_TYPE_INVALID || result == CKR_BUFFER_TOO_SMALL;
}

CK_ULONG BitLength(const Secret& number) {
  const auto top = std::find_if(number.begin(), number.end(), [](unsigned char byte) { return byte != 0; });
  if (top == number.end()) return 0;
  CK_ULONG bits = 8 * static_cast<CK_ULONG>(number.end() - top - 1);
  for (unsigned rest = *top; rest != 0; rest >>= 1) ++bits;
  return bits;
}

// The provider pads labels with zero bytes, other programs with spaces.
std::string_view Unpadded(std::string_view label) {
  return label.substr(0, label.find_last_not_of(std::string_view("\0 ", 2)) + 1);
}

}  // namespace

bool MayBeVirtual(CK_ATTRIBUTE_TYPE type) {
  return type == CKA_DEFAULT_CERT || type == CKA_ENCRYPT || type == CKA_VERIFY || type == CKA_MODULUS_BITS;
}

bool MayBeVirtual(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  return std::any_of(attributes, attributes + count,
                     [](const CK_ATTRIBUTE& attribute) { return MayBeVirtual(attribute.type); });
}

bool VirtualAttributes::IsOn(CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type) {
  if (objectClass == CKO_CERTIFICATE) return type == CKA_DEFAULT_CERT || type == CKA_ENCRYPT || type == CKA_VERIFY;
  return objectClass == CKO_PRIVATE_KEY && type == CKA_MODULUS_BITS;
}

CK_RV VirtualAttributes::Get(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count) const {
  CK_OBJECT_CLASS objectClass = 0;
  if (const CK_RV failed = ReadClass(object, objectClass)) return failed;

  std::vector<CK_ATTRIBUTE> real;
  real.reserve(count);
  for (CK_ULONG i = 0; i < count; ++i) {
    if (!IsOn(objectClass, attributes[i].type)) real.push_back(attributes[i]);
  }
  CK_RV result = CKR_OK;
  if (!real.empty()) result = m_functions.C_GetAttributeValue(m_session, object, real.data(), real.size());
  if (result != CKR_OK && !IsPartial(result)) return result;

  auto next = real.begin();
  for (CK_ULONG i = 0; i < count; ++i) {
    if (IsOn(objectClass, attributes[i].type)) {
      const CK_RV answer = Answer(object, attributes[i]);
      if (result == CKR_OK) result = answer;
    } else {
      attributes[i].ulValueLen = (next++)->ulValueLen;
    }
  }
  return result;
}

bool VirtualAttributes::Matches(CK_OBJECT_HANDLE object, const std::vector<CK_ATTRIBUTE>& wanted) const {
  return std::all_of(wanted.begin(), wanted.end(), [&](const CK_ATTRIBUTE& attribute) {
    std::array<unsigned char, sizeof(CK_ULONG)> value = {};
    CK_ATTRIBUTE read = {attribute.type, value.data(), value.size()};
    return Get(object, &read, 1) == CKR_OK && read.ulValueLen == attribute.ulValueLen &&
           std::memcmp(value.data(), attribute.pValue, attribute.ulValueLen) == 0;
  });
}

CK_RV VirtualAttributes::ReadClass(CK_OBJECT_HANDLE object, CK_OBJECT_CLASS& objectClass) const {
  CK_ATTRIBUTE attribute = {CKA_CLASS, &objectClass, sizeof objectClass};
  return m_functions.C_GetAttributeValue(m_session, object, &attribute, 1);
}

std::optional<VirtualAttributes::Value> VirtualAttributes::Read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) const {
  Value value;
  if (type == CKA_MODULUS_BITS) {
    const std::optional<Secret> modulus = ReadBytes(m_functions, m_session, object, CKA_MODULUS);
    if (!modulus) return std::nullopt;
    const CK_ULONG bits = BitLength(*modulus);
    value.size = sizeof bits;
    std::memcpy(value.bytes.data(), &bits, sizeof bits);
  } else {
    const bool set = type != CKA_DEFAULT_CERT || IsDefaultCertificate(object);
    value.size = sizeof(CK_BBOOL);
    value.bytes[0] = set ? CK_TRUE : CK_FALSE;
  }
  return value;
}

CK_RV VirtualAttributes::Answer(CK_OBJECT_HANDLE object, CK_ATTRIBUTE& attribute) const {
  const std::optional<Value> value = Read(object, attribute.type);
  if (!value) {
    attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  if (attribute.pValue != nullptr && attribute.ulValueLen < value->size) {
    attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_BUFFER_TOO_SMALL;
  }
  if (attribute.pValue != nullptr) std::memcpy(attribute.pValue, value->bytes.data(), value->size);
  attribute.ulValueLen = value->size;
  return CKR_OK;
}

bool VirtualAttributes::IsDefaultCertificate(CK_OBJECT_HANDLE object) const {
  if (m_defaultCertificate.empty()) return false;
  const std::optional<Secret> label = ReadBytes(m_functions, m_session, object, CKA_LABEL);
  return label && Unpadded(TextOf(*label)) == Unpadded(m_defaultCertificate);
}

}  // namespace softtoken
