// What must be known about a key before SoftHSM may use it.
#pragma once

#include <cstddef>
#include <optional>
#include <unordered_map>

#include "cryptoki/Pkcs11.h"

namespace softtoken {

struct KeyTraits {
  CK_KEY_TYPE type = CKK_VENDOR_DEFINED;
  bool needsLogin = false;  // a private key, or a private secret key, that is on the card
  // In bytes, without leading zeros. 0: not an RSA key, or one without a public exponent, on which SoftHSM crashes.
  std::size_t modulusSize = 0;
};

// KeyTraitsCache reads the traits of each key once: they do not change, and SoftHSM uses no handle twice.
class KeyTraitsCache {
 public:
  // Get returns no value for an object that is not a key, and for a handle without an object.
  std::optional<KeyTraits> Get(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);

  void Forget(CK_OBJECT_HANDLE key) { m_known.erase(key); }

 private:
  std::unordered_map<CK_OBJECT_HANDLE, KeyTraits> m_known;
};

}  // namespace softtoken
