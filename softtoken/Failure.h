// How a refusal travels inside the software token.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace softtoken {

// Failure carries a CK_RV from where a refusal is found out to the entry that answers with it. Thrown by value.
struct Failure {
  CK_RV code;
};

inline void Require(bool condition, CK_RV code) {
  if (!condition) throw Failure{code};
}

// Check passes CKR_OK and throws any other result of a call to SoftHSM.
inline void Check(CK_RV result) { Require(result == CKR_OK, result); }

}  // namespace softtoken
