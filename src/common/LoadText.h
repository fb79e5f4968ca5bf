// Texts of the string table.
#pragma once

#include "common/Platform.h"

#include <string>

// LoadText returns the text of that id in the system's ANSI code page, empty when there is none.
std::string LoadText(UINT id);
