// What an ordinary module accepts of the provider's templates.
#pragma once

#include <vector>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Templates.h"

namespace adapter {

// TemplateForModule returns the part of a checked template that an ordinary module gets. It is cleaned before it is
// sent, not after a refusal: a refused pair may leave its public key behind. Besides what pkcs11::TemplateFor leaves
// out, it drops flags that some tokens refuse and that the provider does not need. The values are not copied.
std::vector<CK_ATTRIBUTE> TemplateForModule(pkcs11::Making making, CK_OBJECT_CLASS objectClass,
                                            const CK_ATTRIBUTE* attributes, CK_ULONG count);

}  // namespace adapter
