// Random bytes of the operating system. libgcrypt's own generator is not used: on Windows it collects the state of the
// whole system first (processes, handles, disks), which takes a tenth of a second and more, and ends the server of Wine
// 8 now and then.
#pragma once

#include <cstddef>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

namespace adapter::software {

// Fill writes `length` random bytes, good enough for keys. Throws Failure{CKR_FUNCTION_FAILED} when the system has
// none.
void Fill(CK_BYTE* bytes, std::size_t length);

// RandomWithoutZeros returns random bytes that are not 0, for the padding of PKCS #1 (RFC 8017, section 7.2.1). Throws
// as Fill does.
pkcs11::Secret RandomWithoutZeros(std::size_t length);

}  // namespace adapter::software
