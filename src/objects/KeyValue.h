// KeyValue: the bytes of a session key while the provider has them. The destructor wipes them.
#pragma once

#include "common/Platform.h"

#include <algorithm>

#include "common/WipeMemory.h"
#include "objects/CCSPSecretKey.h"

struct KeyValue {
  WipedBuffer bytes;
  DWORD length;  // at most that of the buffer
};

// Reads the value of a key from the token.
inline KeyValue ReadKeyValue(CCSPSecretKey& key) {
  // The first of the two calls changes nothing: see GetKeyValue.
  DWORD length = key.GetKeyLength();
  key.GetKeyValue(nullptr, &length);
  KeyValue value{WipedBuffer(length), length};
  key.GetKeyValue(value.bytes.Data(), &length);
  value.length = std::min(value.length, length);
  return value;
}
