// Attribute templates: the part of them that SoftHSM accepts.
#pragma once

#include <vector>

#include "cryptoki/Pkcs11.h"

namespace pkcs11 {

// How an object is made.
enum class Making { Created, Generated, Unwrapped, Derived };

// CheckTemplate throws Failure{CKR_ARGUMENTS_BAD} for a missing template. For an attribute with a length but no value,
// or with the length that means "none", it throws CKR_ATTRIBUTE_VALUE_INVALID: SoftHSM would read the missing
// value.
void CheckTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count);

// NumberIn returns the first value of a number-valued attribute of a checked template, or `otherwise`.
CK_ULONG NumberIn(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type, CK_ULONG otherwise);

// AsksFor returns whether a checked template sets a flag anywhere, even if it also clears it.
bool AsksFor(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type);

// TemplateFor returns the attributes of a template that SoftHSM can store in a new object of this class. It leaves out
// attributes that a card accepts without effect: its own record of a key's history (CKA_LOCAL and the like), those that
// follow from other attributes, and those of other classes. An unknown attribute stays in, so that SoftHSM refuses
// it. A certificate without a type becomes an X.509 one. The values are not copied.
std::vector<CK_ATTRIBUTE> TemplateFor(Making making, CK_OBJECT_CLASS objectClass, const CK_ATTRIBUTE* attributes,
                                      CK_ULONG count);

}  // namespace pkcs11
