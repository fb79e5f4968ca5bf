// Attribute templates: what of them SoftHSM can take.
#pragma once

#include <vector>

#include "cryptoki/Pkcs11.h"

namespace softtoken {

// How an object comes into being.
enum class Making { Created, Generated, Unwrapped, Derived };

// CheckTemplate throws Failure{CKR_ARGUMENTS_BAD} for a missing template and CKR_ATTRIBUTE_VALUE_INVALID for an
// attribute that has a length and no value, or the length that stands for none: SoftHSM would read what is not there.
void CheckTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count);

// NumberIn returns the first value of a number-valued attribute of a checked template, or `otherwise`.
CK_ULONG NumberIn(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type, CK_ULONG otherwise);

// AsksFor says whether a checked template sets a flag anywhere, be it after having cleared it.
bool AsksFor(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type);

// TemplateFor returns the attributes of a template that SoftHSM has a place for in a new object of this class. The card
// takes the others too and settles them itself: what is its own record of a key's history (CKA_LOCAL and its kin), what
// follows from other attributes, and what objects of another class have. An attribute that no class has is left in, so
// that SoftHSM refuses it. A certificate without a type becomes an X.509 one. The values are not copied.
std::vector<CK_ATTRIBUTE> TemplateFor(Making making, CK_OBJECT_CLASS objectClass, const CK_ATTRIBUTE* attributes,
                                      CK_ULONG count);

}  // namespace softtoken
