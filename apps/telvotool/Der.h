// DER: CryptoAPI's encoder, and a function for what it cannot encode.
#pragma once

#include "common/Platform.h"

#include "telvotool/Files.h"

namespace tool {

// One of CryptoAPI's structures as DER. Raises a Failure that begins with `what`.
Bytes Encode(LPCSTR type, const void* structure, const char* what);

// A DER object with this tag and content. Raises Failure for a content of 64 KiB or more.
Bytes Wrap(BYTE tag, const Bytes& content);

void Append(Bytes& bytes, const Bytes& more);

}  // namespace tool
