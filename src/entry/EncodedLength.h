// EncodedLength: the length in bytes of a whole DER object, header included, as stated in the header. 0 for null. The
// tag must have one byte.
//
// In the long form the low four bits of the length octet are the number of further length octets, so that up to 17
// bytes are read. A length that does not fit into 32 bits, with or without the header, raises CCSPContextError
// NTE_BAD_DATA.
#pragma once

#include "common/Platform.h"

DWORD EncodedLength(const BYTE* der);
