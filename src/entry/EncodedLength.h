// EncodedLength: the whole length in bytes of a DER object, read from its header; 0 for null. Tags of one byte alone.
//
// Of the length octet that announces more of them the low four bits count, so that up to 17 bytes are read. A length
// that does not fit 32 bits, alone or with the header, raises CCSPContextError NTE_BAD_DATA.
#pragma once

#include "common/Platform.h"

DWORD EncodedLength(const BYTE* der);
