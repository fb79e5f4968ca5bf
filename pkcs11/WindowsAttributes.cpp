#include "pkcs11/WindowsAttributes.h"

#include <algorithm>
#include <cstring>

#include "pkcs11/Failure.h"

namespace pkcs11::windows {
namespace {

constexpr CK_ATTRIBUTE_TYPE kNumbers[] = {
    CKA_CLASS,
    CKA_CERTIFICATE_TYPE,
    CKA_CERTIFICATE_CATEGORY,
    CKA_JAVA_MIDP_SECURITY_DOMAIN,
    CKA_NAME_HASH_ALGORITHM,
    CKA_KEY_TYPE,
    CKA_MODULUS_BITS,
    CKA_PRIME_BITS,
    CKA_SUB_PRIME_BITS,
    CKA_VALUE_BITS,
    CKA_VALUE_LEN,
    CKA_KEY_GEN_MECHANISM,
    CKA_AUTH_PIN_FLAGS,
    CKA_OTP_FORMAT,
    CKA_OTP_LENGTH,
    CKA_OTP_TIME_INTERVAL,
    CKA_OTP_CHALLENGE_REQUIREMENT,
    CKA_OTP_TIME_REQUIREMENT,
    CKA_OTP_COUNTER_REQUIREMENT,
    CKA_OTP_PIN_REQUIREMENT,
    CKA_HW_FEATURE_TYPE,
    CKA_PIXEL_X,
    CKA_PIXEL_Y,
    CKA_RESOLUTION,
    CKA_CHAR_ROWS,
    CKA_CHAR_COLUMNS,
    CKA_BITS_PER_PIXEL,
    CKA_MECHANISM_TYPE,
};

// More than there are mechanisms. The limit keeps a wrong length from allocating gigabytes.
constexpr std::size_t kMostNumbers = 4096;

// Reads the numbers of a caller, whose buffers may be unaligned.
std::vector<CK_ULONG> ReadNumbers(const void* from, std::size_t count) {
  std::vector<CK_ULONG> numbers(count);
  for (std::size_t i = 0; i < count; ++i) {
    Number number = 0;
    std::memcpy(&number, static_cast<const unsigned char*>(from) + i * sizeof number, sizeof number);
    numbers[i] = Widened(number);
  }
  return numbers;
}

void WriteNumbers(const std::vector<CK_ULONG>& numbers, std::size_t count, void* to) {
  for (std::size_t i = 0; i < count; ++i) {
    const Number number = Narrowed(numbers[i]);
    std::memcpy(static_cast<unsigned char*>(to) + i * sizeof number, &number, sizeof number);
  }
}

}  // namespace

ValueKind KindOf(CK_ATTRIBUTE_TYPE type) {
  if (type == CKA_ALLOWED_MECHANISMS) return ValueKind::NumberList;
  // Vendor types set the high bit. In these the bit for nested templates has no meaning.
  if ((type & CKA_VENDOR_DEFINED) == 0 && (type & CKF_ARRAY_ATTRIBUTE) != 0) return ValueKind::Nested;
  const bool number = std::find(std::begin(kNumbers), std::end(kNumbers), type) != std::end(kNumbers);
  return number ? ValueKind::OneNumber : ValueKind::Bytes;
}

TemplateIn::TemplateIn(const Attribute* attributes, Number count) {
  Require(attributes != nullptr || count == 0, CKR_ARGUMENTS_BAD);
  m_native.reserve(count);
  for (Number i = 0; i < count; ++i) {
    const Attribute& attribute = attributes[i];
    CK_ATTRIBUTE native = {attribute.type, attribute.pValue, attribute.ulValueLen};
    Require(native.pValue != nullptr || native.ulValueLen == 0, CKR_ATTRIBUTE_VALUE_INVALID);
    Require(native.ulValueLen != kUnavailable, CKR_ATTRIBUTE_VALUE_INVALID);
    const ValueKind kind = KindOf(native.type);
    Require(kind != ValueKind::Nested, CKR_ATTRIBUTE_TYPE_INVALID);
    if (kind != ValueKind::Bytes) {
      const bool sound =
          kind == ValueKind::OneNumber ? native.ulValueLen == sizeof(Number) : native.ulValueLen % sizeof(Number) == 0;
      Require(sound, CKR_ATTRIBUTE_VALUE_INVALID);
      m_numbers.push_back(ReadNumbers(native.pValue, native.ulValueLen / sizeof(Number)));
      native.pValue = m_numbers.back().data();
      native.ulValueLen = m_numbers.back().size() * sizeof(CK_ULONG);
    }
    m_native.push_back(native);
  }
}

TemplateOut::TemplateOut(Attribute* attributes, Number count) : m_attributes(attributes) {
  Require(attributes != nullptr, CKR_ARGUMENTS_BAD);
  m_items.reserve(count);
  // One more, so that the template is not null even if all its attributes are refused.
  m_native.reserve(std::size_t{count} + 1);
  for (Number i = 0; i < count; ++i) {
    const Attribute& attribute = attributes[i];
    Item item = {KindOf(attribute.type), m_native.size(), {}};
    CK_ATTRIBUTE native = {attribute.type, attribute.pValue, attribute.ulValueLen};
    // An earlier read that failed may have left "none" in the length.
    if (attribute.ulValueLen == kUnavailable) native.ulValueLen = 0;
    if (native.pValue != nullptr && (item.kind == ValueKind::OneNumber || item.kind == ValueKind::NumberList)) {
      const std::size_t most = item.kind == ValueKind::OneNumber ? 1 : kMostNumbers;
      item.numbers.resize(std::min(native.ulValueLen / sizeof(Number), most));
      // A caller whose buffer is too small for a number must get this failure, and not the length of a number.
      static CK_ULONG noRoom = 0;
      native.pValue = item.numbers.empty() ? &noRoom : item.numbers.data();
      native.ulValueLen = item.numbers.size() * sizeof(CK_ULONG);
    }
    if (item.kind != ValueKind::Nested) m_native.push_back(native);
    m_items.push_back(std::move(item));
  }
}

CK_RV TemplateOut::Finish(CK_RV result) {
  // Any other failure does not concern the attributes, so the template stays unchanged.
  const bool dealtWith = result == CKR_OK || result == CKR_ATTRIBUTE_SENSITIVE ||
                         result == CKR_ATTRIBUTE_TYPE_INVALID || result == CKR_BUFFER_TOO_SMALL;
  if (!dealtWith) return result;
  for (std::size_t i = 0; i < m_items.size(); ++i) FinishOne(m_attributes[i], m_items[i], result);
  return result;
}

void TemplateOut::FinishOne(Attribute& attribute, const Item& item, CK_RV& result) const {
  if (item.kind == ValueKind::Nested) {
    attribute.ulValueLen = kUnavailable;
    if (result == CKR_OK) result = CKR_ATTRIBUTE_TYPE_INVALID;
    return;
  }
  const CK_ULONG length = m_native[item.native].ulValueLen;
  if (item.kind == ValueKind::Bytes || length == CK_UNAVAILABLE_INFORMATION) {
    attribute.ulValueLen = Narrowed(length);
    return;
  }
  const std::size_t count = length / sizeof(CK_ULONG);
  if (attribute.pValue != nullptr) WriteNumbers(item.numbers, std::min(count, item.numbers.size()), attribute.pValue);
  attribute.ulValueLen = static_cast<Number>(count * sizeof(Number));
}

}  // namespace pkcs11::windows
