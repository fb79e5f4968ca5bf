// DER: CryptoAPI's encoder, and the little that is put together by hand.
#pragma once

#include "common/Platform.h"

#include "telvotool/Files.h"

namespace tool {

// One of CryptoAPI's structures as DER. Raises Failure with `what`.
Bytes Encode(LPCSTR type, const void* structure, const char* what);

// A DER object of a tag and a content of less than 64 KiB. Raises Failure for more.
Bytes Wrap(BYTE tag, const Bytes& content);

void Append(Bytes& bytes, const Bytes& more);

}  // namespace tool
