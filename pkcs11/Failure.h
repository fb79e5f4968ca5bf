// How refusals are reported inside the modules.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace pkcs11 {

// Failure is thrown, by value, where something is refused. The entry catches it and returns its CK_RV.
struct Failure {
  CK_RV code;
};

inline void Require(bool condition, CK_RV code) {
  if (!condition) throw Failure{code};
}

// Check throws any result of a call other than CKR_OK.
inline void Check(CK_RV result) { Require(result == CKR_OK, result); }

}  // namespace pkcs11
