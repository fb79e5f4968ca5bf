// DecodeText turns a text or a DER encoded X.500 name from a token into a string.
#pragma once

#include "common/Platform.h"

#include <string>

// DecodeText returns, for `length` bytes that are a DER encoded name, its common name, without one its
// organisation, and without that the first part of the name; for anything else the bytes up to the first zero
// byte. Blanks stay.
//
// Required: the organisation lacks its first character.
std::string DecodeText(const BYTE* data, DWORD length);
