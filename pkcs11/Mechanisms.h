// The mechanisms that the card offers.
#pragma once

#include <optional>
#include <vector>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Failure.h"

namespace pkcs11 {

// The parameter of a mechanism.
enum class Parameter {
  None,
  Iv8,        // an initialisation vector of 8 bytes
  Iv16,       // of 16 bytes
  Oaep,       // CK_RSA_PKCS_OAEP_PARAMS
  Pss,        // CK_RSA_PKCS_PSS_PARAMS
  MacLength,  // CK_MAC_GENERAL_PARAMS: a CK_ULONG
};

// FindParameter returns the parameter of a mechanism, and no value when the mechanism is not offered. ParameterOf
// throws Failure{CKR_MECHANISM_INVALID} instead.
std::optional<Parameter> FindParameter(CK_MECHANISM_TYPE type);
Parameter ParameterOf(CK_MECHANISM_TYPE type);

// IsForWholeData returns whether a signature with the mechanism takes all data in one call.
bool IsForWholeData(CK_MECHANISM_TYPE type);

// NeedsRsaKey returns whether a mechanism works with RSA keys only.
bool NeedsRsaKey(CK_MECHANISM_TYPE type);

// CheckMechanism throws Failure: CKR_ARGUMENTS_BAD for a null pointer, CKR_MECHANISM_INVALID for a mechanism that is
// not offered, CKR_MECHANISM_PARAM_INVALID for a parameter of the wrong size.
void CheckParameter(const CK_MECHANISM& mechanism);
inline void CheckMechanism(const CK_MECHANISM* mechanism) {
  Require(mechanism != nullptr, CKR_ARGUMENTS_BAD);
  CheckParameter(*mechanism);
}

// AllMechanisms returns all mechanisms of the card's own table, in its order.
std::vector<CK_MECHANISM_TYPE> AllMechanisms();

// Offered returns those of `types` that the card offers, in the order of the card's own table.
std::vector<CK_MECHANISM_TYPE> Offered(const std::vector<CK_MECHANISM_TYPE>& types);

}  // namespace pkcs11
