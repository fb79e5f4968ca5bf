#include "module/Journal.h"

#include <cstdio>
#include <cstring>
#include <map>

namespace {

struct AttributeRow {
  CK_ATTRIBUTE_TYPE type;
  const char* name;
};

#define ROW(name) \
  { name, #name }

constexpr AttributeRow kNumbers[] = {
    ROW(CKA_CLASS),        ROW(CKA_CERTIFICATE_TYPE),  ROW(CKA_KEY_TYPE),
    ROW(CKA_MODULUS_BITS), ROW(CKA_KEY_GEN_MECHANISM), ROW(CKA_VALUE_LEN),
};

constexpr AttributeRow kOthers[] = {
    ROW(CKA_TOKEN),
    ROW(CKA_PRIVATE),
    ROW(CKA_LABEL),
    ROW(CKA_APPLICATION),
    ROW(CKA_VALUE),
    ROW(CKA_OBJECT_ID),
    ROW(CKA_ISSUER),
    ROW(CKA_SERIAL_NUMBER),
    ROW(CKA_SUBJECT),
    ROW(CKA_ID),
    ROW(CKA_SENSITIVE),
    ROW(CKA_ENCRYPT),
    ROW(CKA_DECRYPT),
    ROW(CKA_WRAP),
    ROW(CKA_UNWRAP),
    ROW(CKA_SIGN),
    ROW(CKA_SIGN_RECOVER),
    ROW(CKA_VERIFY),
    ROW(CKA_VERIFY_RECOVER),
    ROW(CKA_DERIVE),
    ROW(CKA_MODULUS),
    ROW(CKA_PUBLIC_EXPONENT),
    ROW(CKA_EXTRACTABLE),
    ROW(CKA_LOCAL),
    ROW(CKA_NEVER_EXTRACTABLE),
    ROW(CKA_ALWAYS_SENSITIVE),
    ROW(CKA_MODIFIABLE),
    ROW(CKA_DEFAULT_CERT),
};

struct MechanismRow {
  CK_MECHANISM_TYPE type;
  const char* name;
};

constexpr MechanismRow kMechanisms[] = {
    ROW(CKM_RSA_PKCS_KEY_PAIR_GEN),
    ROW(CKM_RSA_PKCS),
    ROW(CKM_RSA_X_509),
    ROW(CKM_MD2),
    ROW(CKM_MD5),
    ROW(CKM_SHA_1),
    ROW(CKM_SHA256),
    ROW(CKM_SHA384),
    ROW(CKM_SHA512),
    ROW(CKM_DES_ECB),
    ROW(CKM_DES_CBC),
    ROW(CKM_DES3_ECB),
    ROW(CKM_DES3_CBC),
    ROW(CKM_AES_ECB),
    ROW(CKM_AES_CBC),
    ROW(CKM_DES_CBC_PAD),
    ROW(CKM_AES_CBC_PAD),
    ROW(CKM_DES3_CBC_PAD),
    ROW(CKM_DES3_KEY_GEN),
    ROW(CKM_AES_KEY_GEN),
    ROW(CKM_DES_KEY_GEN),
};

#undef ROW

std::string Hex(CK_ULONG value) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%lX", static_cast<unsigned long>(value));
  return text;
}

std::string ValueText(const CK_ATTRIBUTE& item) {
  const auto* bytes = static_cast<const unsigned char*>(item.pValue);
  const CK_ULONG length = item.ulValueLen;
  if (bytes == nullptr) return "null of " + std::to_string(length);
  if (IsNumberAttribute(item.type) && length == sizeof(CK_ULONG)) {
    CK_ULONG number = 0;
    std::memcpy(&number, bytes, sizeof(number));
    return number == CK_UNAVAILABLE_INFORMATION ? "-1" : std::to_string(number);
  }
  if (length == 1 && bytes[0] <= 1) return bytes[0] == 1 ? "true" : "false";
  return HexText(bytes, length);
}

template <typename Text>
std::string Listed(const CK_ATTRIBUTE* attributes, CK_ULONG count, Text text) {
  std::string list = "{";
  for (CK_ULONG i = 0; i < count; ++i)
    list += (i > 0 ? ", " : "") + AttributeName(attributes[i].type) + text(attributes[i]);
  return list + "}";
}

}  // namespace

std::string AttributeName(CK_ATTRIBUTE_TYPE type) {
  for (const AttributeRow& row : kNumbers) {
    if (row.type == type) return row.name;
  }
  for (const AttributeRow& row : kOthers) {
    if (row.type == type) return row.name;
  }
  return Hex(type);
}

bool IsNumberAttribute(CK_ATTRIBUTE_TYPE type) {
  for (const AttributeRow& row : kNumbers) {
    if (row.type == type) return true;
  }
  return false;
}

std::string Values(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  if (attributes == nullptr) return "null of " + std::to_string(count);
  return Listed(attributes, count, [](const CK_ATTRIBUTE& item) { return "=" + ValueText(item); });
}

std::string Buffers(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  return Listed(attributes, count, [](const CK_ATTRIBUTE& item) -> std::string {
    if (item.pValue == nullptr) return "?";
    if (IsNumberAttribute(item.type) && item.ulValueLen == sizeof(CK_ULONG)) return "[number]";
    return "[" + std::to_string(item.ulValueLen) + "]";
  });
}

std::string MechanismText(const CK_MECHANISM* mechanism) {
  if (mechanism == nullptr) return "null";
  std::string text = Hex(mechanism->mechanism);
  for (const MechanismRow& row : kMechanisms) {
    if (row.type == mechanism->mechanism) text = row.name;
  }
  if (mechanism->pParameter != nullptr) text += " with " + HexText(mechanism->pParameter, mechanism->ulParameterLen);
  return text;
}

std::string InputText(const void* data, CK_ULONG length) {
  return data == nullptr ? "null of " + std::to_string(length) : std::to_string(length) + " bytes";
}

std::string OutputText(const void* data, const CK_ULONG* length) {
  if (data == nullptr) return "null";
  return length == nullptr ? "no length" : "room " + std::to_string(*length);
}

std::string HexText(const void* data, std::size_t length) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  const auto* bytes = static_cast<const unsigned char*>(data);
  const bool shortened = length > 40;
  std::string text;
  for (std::size_t i = 0; i < (shortened ? 8 : length); ++i) {
    text += kDigits[bytes[i] >> 4U];
    text += kDigits[bytes[i] & 15U];
  }
  return shortened ? text + "... (" + std::to_string(length) + " bytes)" : text;
}
