// The module's function table in the native layout of the platform.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace softtoken {

// NativeTable returns the table. Its entries may be called from any thread; one is served at a time. None throws.
ExtendedFunctionList& NativeTable();

}  // namespace softtoken
