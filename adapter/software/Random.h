// Random bytes in software, for a module that has none.
#pragma once

#include <cstddef>

#include "cryptoki/Pkcs11.h"

namespace adapter::software {

// Fill writes `length` random bytes, good enough for session keys. Throws Failure.
void Fill(CK_BYTE* bytes, std::size_t length);

}  // namespace adapter::software
