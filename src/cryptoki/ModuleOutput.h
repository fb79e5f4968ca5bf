// What calls of the module that hand out bytes have in common.
#pragma once

#include "common/Platform.h"

#include <algorithm>

#include "cryptoki/Pkcs11.h"

// The module's interface knows no const; it does not write to its inputs.
inline BYTE* ModuleInput(const BYTE* data) { return const_cast<BYTE*>(data); }

// Calls an operation that writes to `out`, which has room for `*outLength` bytes. What the module says of the length
// counts up to what there is; when it fails, `*outLength` stays.
template <typename Operation>
void WithModuleOutput(const BYTE* out, DWORD* outLength, Operation operation) {
  CK_ULONG length = *outLength;
  operation(&length);
  const DWORD written = static_cast<DWORD>(length);
  *outLength = out == nullptr ? written : std::min(written, *outLength);
}
