// The names of the PKCS #11 results.
#pragma once

#include <string>

#include "cryptoki/Pkcs11.h"

namespace adapter {

// ResultName returns a name like "CKR_OK", or, if there is none, the number in hexadecimal digits, like "0x80000007".
std::string ResultName(CK_RV result);

}  // namespace adapter
