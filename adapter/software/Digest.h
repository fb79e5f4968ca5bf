// Digests in software: MD5, SHA-1, SHA-224, SHA-256, SHA-384, SHA-512 and RIPEMD-160.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "cryptoki/Pkcs11.h"

struct gcry_md_handle;

namespace adapter::software {

// Digest is one computation. It can be moved. Its data is wiped when it is destroyed.
class Digest {
 public:
  // Throws Failure{CKR_MECHANISM_INVALID} for a mechanism that is not a digest.
  explicit Digest(CK_MECHANISM_TYPE mechanism);

  // `data` may be null if `length` is 0.
  void Update(const CK_BYTE* data, std::size_t length);

  // Final returns the digest. Nothing may follow it.
  std::vector<CK_BYTE> Final();

  // Length returns the length of a digest in bytes, and 0 for a mechanism that is not a digest.
  static std::size_t Length(CK_MECHANISM_TYPE mechanism);

 private:
  struct Close {
    void operator()(gcry_md_handle* handle) const;
  };
  std::unique_ptr<gcry_md_handle, Close> m_handle;
  std::size_t m_length = 0;
};

}  // namespace adapter::software
