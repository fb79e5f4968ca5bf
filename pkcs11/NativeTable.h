// The function table of the module that is built, in the native layout of the platform.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace pkcs11 {

// Each module defines its own. Its entries may be called from any thread; one call runs at a time. None throws.
ExtendedFunctionList& NativeTable();

}  // namespace pkcs11
