// How many tries a wrong PIN leaves.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace adapter {

// TriesAfterWrongPin returns how many tries are left according to the token's flags: 0 only if the PIN is locked.
// `otherwise` is the number for a token whose flags show nothing.
inline unsigned TriesAfterWrongPin(CK_FLAGS flags, unsigned otherwise) {
  if ((flags & CKF_USER_PIN_LOCKED) != 0) return 0;
  if ((flags & CKF_USER_PIN_FINAL_TRY) != 0) return 1;
  if ((flags & CKF_USER_PIN_COUNT_LOW) != 0) return 2;
  return otherwise == 0 ? 1 : otherwise;
}

}  // namespace adapter
