// The flags of CPAcquireContext, as the provider groups them.
#pragma once

#include "common/Platform.h"

// Any of the four bits counts as CRYPT_VERIFYCONTEXT.
constexpr DWORD kVerifyBits = 0xF0000000;

inline bool IsVerify(DWORD flags) { return (flags & kVerifyBits) != 0; }
inline bool IsSilent(DWORD flags) { return (flags & CRYPT_SILENT) != 0; }
inline bool IsNewKeySet(DWORD flags) { return (flags & CRYPT_NEWKEYSET) != 0; }
inline DWORD LowFlags(DWORD flags) { return flags & ~kVerifyBits; }
