// ModuleRestarts: how often Token::OpenSession had the module initialised anew in this process. A session from before
// is dead, and its handle may be that of another session by now.
#pragma once

#include "common/Platform.h"

DWORD ModuleRestarts();
