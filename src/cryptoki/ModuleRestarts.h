// ModuleRestarts: how often Token::OpenSession had the module restarted in this process. A session from before a
// restart is dead, and its handle may be that of another session by now.
#pragma once

#include "common/Platform.h"

DWORD ModuleRestarts();
