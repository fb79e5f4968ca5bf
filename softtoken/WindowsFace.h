// The module's function table as a Windows program sees it.
#pragma once

#include "WindowsTypes.h"

namespace softtoken::windows {

// Table returns the table. Each entry translates its arguments and calls the native entry of the same name. No entry
// throws, and none writes outside the caller's buffers.
FunctionList& Table();

}  // namespace softtoken::windows
