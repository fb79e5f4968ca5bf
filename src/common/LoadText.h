// Strings of the string table.
#pragma once

#include "common/Platform.h"

#include <string>

// LoadText returns the string with that id, in the system's ANSI code page. It is empty when there is none.
std::string LoadText(UINT id);
