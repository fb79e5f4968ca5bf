// Helpers for module calls that read or write bytes.
#pragma once

#include "common/Platform.h"

#include <algorithm>

#include "cryptoki/Pkcs11.h"

// For an input of the module: its interface has no const, but it does not write to inputs.
inline BYTE* ModuleInput(const BYTE* data) { return const_cast<BYTE*>(data); }

// Calls an operation that writes to `out`, which has space for `*outLength` bytes. Then `*outLength` is the length that
// the module reports, but at most that space. After a failure it is unchanged.
template <typename Operation>
void WithModuleOutput(const BYTE* out, DWORD* outLength, Operation operation) {
  CK_ULONG length = *outLength;
  operation(&length);
  const DWORD written = static_cast<DWORD>(length);
  *outLength = out == nullptr ? written : std::min(written, *outLength);
}
