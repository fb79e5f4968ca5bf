// The module's function table as a Windows program sees it.
#pragma once

#include "pkcs11/WindowsTypes.h"

namespace pkcs11::windows {

// Table returns the table. Each entry translates its arguments and calls the native entry of the same name. No entry
// throws, and none writes outside the caller's buffers.
FunctionList& Table();

}  // namespace pkcs11::windows
