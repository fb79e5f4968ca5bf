// The function table of the module that is built, in the native layout of the platform.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace pkcs11 {

// Each module defines it for itself. Its entries may be called from any thread; one is served at a time. None throws.
ExtendedFunctionList& NativeTable();

}  // namespace pkcs11
