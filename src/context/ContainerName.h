// Container names: the string form of the token's key identifiers, and the name that an application gives to
// CPAcquireContext.
#pragma once

#include "common/Platform.h"

#include <string>

// Splits "\\.\reader\container", or takes the whole name as the container; then the first "SmartcardLogon-" or
// "SmartcardUser-" of the container is cut out, whatever its case, and the new name logged. Null gives two empty
// strings. A name "\\.\reader" without a further backslash names a reader and no container. At most 255 characters of a
// reader's name are kept; otherwise a name may have any length.
void ParseContainerName(const char* name, std::string& reader, std::string& container);

// The container name of a CKA_ID: its characters up to the first zero byte when all of them are printable and none is a
// space; else all its bytes in upper-case hexadecimal. Null or empty gives the empty string.
std::string IdToContainerName(const BYTE* id, DWORD length);

// All bytes in upper-case hexadecimal.
std::string BytesToHex(const BYTE* bytes, DWORD length);
