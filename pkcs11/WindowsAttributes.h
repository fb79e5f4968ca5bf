// Translates attribute templates between the Windows layout and the native one.
#pragma once

#include <vector>

#include "pkcs11/WindowsTypes.h"

namespace pkcs11::windows {

// The kinds of attribute values that the two layouts store differently.
enum class ValueKind {
  Bytes,       // the same in both layouts
  OneNumber,   // 4 bytes on Windows, 8 natively
  NumberList,  // any number of them
  Nested       // a template inside the template; refused
};
ValueKind KindOf(CK_ATTRIBUTE_TYPE type);

// TemplateIn is the native form of a template that is only read. Values that are the same in both layouts are not
// copied. The constructor throws Failure: CKR_ARGUMENTS_BAD for a missing template, CKR_ATTRIBUTE_VALUE_INVALID for a
// number whose size is not 4 or for a missing value, CKR_ATTRIBUTE_TYPE_INVALID for a nested template.
class TemplateIn {
 public:
  TemplateIn(const Attribute* attributes, Number count);

  CK_ATTRIBUTE* Data() { return m_native.data(); }
  CK_ULONG Count() const { return m_native.size(); }

 private:
  std::vector<CK_ATTRIBUTE> m_native;
  std::vector<std::vector<CK_ULONG>> m_numbers;  // what the native form points to
};

// TemplateOut is the native form of a template for C_GetAttributeValue. Numbers are read into memory of this object,
// everything else directly into the caller's buffers. The constructor throws Failure{CKR_ARGUMENTS_BAD} for a missing
// template.
class TemplateOut {
 public:
  TemplateOut(Attribute* attributes, Number count);

  CK_ATTRIBUTE* Data() { return m_native.data(); }
  CK_ULONG Count() const { return m_native.size(); }

  // Finish writes lengths and numbers back to the caller. It returns the final result: `result`, the one of
  // C_GetAttributeValue, unless an attribute was refused here.
  CK_RV Finish(CK_RV result);

 private:
  // One attribute of the caller: the index of its native form, if it has one, and its numbers, if it asks for them.
  struct Item {
    ValueKind kind;
    std::size_t native;
    std::vector<CK_ULONG> numbers;
  };

  void FinishOne(Attribute& attribute, const Item& item, CK_RV& result) const;

  Attribute* m_attributes;
  std::vector<Item> m_items;
  std::vector<CK_ATTRIBUTE> m_native;
};

// Narrowed returns a native number in 32 bits; what does not fit becomes all ones.
inline Number Narrowed(CK_ULONG value) { return value < kUnavailable ? static_cast<Number>(value) : kUnavailable; }

// Widened returns a 32-bit number as a native one; all ones stay all ones.
inline CK_ULONG Widened(Number value) { return value == kUnavailable ? CK_UNAVAILABLE_INFORMATION : value; }

}  // namespace pkcs11::windows
