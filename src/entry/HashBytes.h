// FetchHashBytes: all bytes that an operation of a hash returns.
#pragma once

#include "common/Platform.h"

#include <vector>

#include "objects/CCSPHash.h"

// Calls `getBytes` twice: without a buffer for the length, then with a buffer of that length.
inline std::vector<BYTE> FetchHashBytes(CCSPHash& hash, void (CCSPHash::*getBytes)(BYTE*, DWORD*)) {
  DWORD length = 0;
  (hash.*getBytes)(nullptr, &length);
  std::vector<BYTE> bytes(length);
  (hash.*getBytes)(bytes.data(), &length);
  bytes.resize(length);
  return bytes;
}
