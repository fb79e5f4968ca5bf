// DecodeText turns a character field or a DER encoded X.500 name of a token into a string.
#pragma once

#include "common/Platform.h"

#include <string>

// For a DER encoded name DecodeText returns the common name; when it has none, the organisation; when it has neither,
// the first part of the name. For any other `length` bytes it returns those before the first zero byte. Spaces stay.
//
// Required: the first character of the organisation is cut off.
std::string DecodeText(const BYTE* data, DWORD length);
