// The names of the results of PKCS #11, as its documents write them.
#pragma once

#include <string>

#include "cryptoki/Pkcs11.h"

namespace adapter {

// ResultName returns a name like "CKR_OK", and the number in hexadecimal digits, like "0x80000007", if there is none.
std::string ResultName(CK_RV result);

}  // namespace adapter
