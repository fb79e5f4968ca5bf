// EncodedLength: the length in bytes of a whole DER object, header included, as the header says. 0 for null. The tag
// must have one byte.
//
// In the long form the low four bits of the length octet tell how many more there are, so that up to 17 bytes are read.
// A length that does not fit into 32 bits, with or without the header, raises CCSPContextError NTE_BAD_DATA.
#pragma once

#include "common/Platform.h"

DWORD EncodedLength(const BYTE* der);
