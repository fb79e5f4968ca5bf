// A PIN that can be compared with another one, but not read.
#pragma once

#include <array>
#include <cstddef>

#include "cryptoki/Pkcs11.h"

namespace adapter::software {

// SaltedDigest keeps the SHA-256 of a random salt and a PIN. All digests of a process have the same salt, which the
// first one makes. A digest can be copied, and is wiped when it is destroyed.
class SaltedDigest {
 public:
  // `pin` may be null if `length` is 0. Throws Failure.
  SaltedDigest(const CK_BYTE* pin, std::size_t length);
  SaltedDigest(const SaltedDigest&) = default;
  SaltedDigest& operator=(const SaltedDigest&) = default;
  ~SaltedDigest();

  // The time that these take does not depend on where the digests differ.
  bool Matches(const CK_BYTE* pin, std::size_t length) const;
  bool operator==(const SaltedDigest& other) const;
  bool operator!=(const SaltedDigest& other) const { return !(*this == other); }

 private:
  std::array<CK_BYTE, 32> m_digest;
};

}  // namespace adapter::software
