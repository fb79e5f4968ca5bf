// Readable names of key types and mechanisms.
#pragma once

#include <string>

#include "cryptoki/Pkcs11.h"

// FindKeyTypeName returns the name of a secret key's type, or null when the type has none.
const char* FindKeyTypeName(CK_KEY_TYPE type);

// MechanismName returns the name of a mechanism, or a string that says that it has none, with the type in
// eight digits.
std::string MechanismName(CK_MECHANISM_TYPE type);
