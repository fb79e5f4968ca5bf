// RSA encryption with OAEP padding. SoftHSM supports only SHA-1 without a label. So the padding is done here, and
// SoftHSM does the bare RSA operation, CKM_RSA_X_509.
#pragma once

#include <openssl/types.h>
#include <optional>

#include "SharedNames.h"
#include "cryptoki/Pkcs11.h"

namespace softtoken {

// OaepPadding pads and unpads for one key.
class OaepPadding {
 public:
  // `modulusSize` is the size of the key in bytes. Throws Failure{CKR_MECHANISM_PARAM_INVALID} for a hash or mask
  // function other than SHA-1 and SHA-2, and for a label whose source is not CKZ_DATA_SPECIFIED.
  OaepPadding(const CK_RSA_PKCS_OAEP_PARAMS& parameters, std::size_t modulusSize);

  std::size_t ModulusSize() const { return m_modulusSize; }

  // MaxMessage is the length of the longest message that fits.
  std::size_t MaxMessage() const;

  // Pad returns the block to encrypt. Throws Failure{CKR_DATA_LEN_RANGE} for a message that does not fit.
  Secret Pad(const unsigned char* message, std::size_t length) const;

  // Unpad returns the message in a decrypted block; no value when the padding is wrong.
  std::optional<Secret> Unpad(const Secret& block) const;

 private:
  std::size_t m_modulusSize;
  const EVP_MD* m_hash;
  const EVP_MD* m_mask;
  Secret m_label;
};

// OaepOperation is what must be kept between the Init and the call that does the work.
struct OaepOperation {
  OaepPadding padding;
  std::optional<Secret> message;  // decrypted, but not fetched yet: the caller's buffer was too small
};

}  // namespace softtoken
