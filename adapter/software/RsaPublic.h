// What a public RSA key can do, in software.
#pragma once

#include <cstddef>
#include <vector>

#include "cryptoki/Pkcs11.h"

namespace adapter::software {

// Both numbers are big-endian. Leading zero bytes do not count.
struct RsaPublicKey {
  std::vector<CK_BYTE> modulus, exponent;
};

// Encrypt returns as many bytes as the modulus has. `mechanism` is CKM_RSA_PKCS, CKM_RSA_X_509 (data shorter than the
// modulus counts as a number) or CKM_RSA_PKCS_OAEP (the mask uses the same hash function). Throws Failure:
//   CKR_MECHANISM_INVALID, CKR_MECHANISM_PARAM_INVALID
//   CKR_KEY_SIZE_RANGE  the numbers are not a public key, or its modulus has less than 256 or more than 16384 bits
//   CKR_DATA_LEN_RANGE  the data is empty, or longer than the mechanism can take
//   CKR_DATA_INVALID    CKM_RSA_X_509 only: the data is not less than the modulus
std::vector<CK_BYTE> Encrypt(const RsaPublicKey& key, const CK_MECHANISM& mechanism, const CK_BYTE* data,
                             std::size_t length);

// Verify returns CKR_OK, CKR_SIGNATURE_INVALID, or CKR_SIGNATURE_LEN_RANGE for a signature that is not as long as the
// modulus. `mechanism` is CKM_RSA_PKCS (over any data, such as a DigestInfo or 36 bytes), CKM_RSA_X_509, or
// CKM_<digest>_RSA_PKCS, for which `data` is the message. It returns the codes that Encrypt throws for other failures,
// and throws only std::bad_alloc.
CK_RV Verify(const RsaPublicKey& key, const CK_MECHANISM& mechanism, const CK_BYTE* data, std::size_t length,
             const CK_BYTE* signature, std::size_t signatureLength);

}  // namespace adapter::software
