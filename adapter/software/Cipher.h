// Block ciphers in software: DES, triple DES with two and three keys, and AES, in ECB and CBC mode.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

struct gcry_cipher_handle;

namespace adapter::software {

// Cipher encrypts or decrypts one message, in parts of any length. It can be moved. Its data is wiped when it is
// destroyed; the caller wipes what it returns. All failures are pkcs11::Failure; after one, no call may follow.
class Cipher {
 public:
  enum class Way { Encrypt, Decrypt };

  // Knows tells whether a mechanism is one of CKM_{DES,DES3,AES}_{ECB,CBC,CBC_PAD}.
  static bool Knows(CK_MECHANISM_TYPE mechanism);

  // Failures: CKR_MECHANISM_INVALID, CKR_MECHANISM_PARAM_INVALID for an initial vector that is missing, not needed or
  // not one block, CKR_KEY_TYPE_INCONSISTENT, CKR_KEY_SIZE_RANGE. Weak DES keys are accepted, as tokens accept them.
  Cipher(Way way, const CK_MECHANISM& mechanism, CK_KEY_TYPE type, const CK_BYTE* key, std::size_t length);

  // Update returns all blocks that are complete by now. Padded decryption holds back one block, which may be the last.
  std::vector<CK_BYTE> Update(const CK_BYTE* data, std::size_t length);

  // Final returns the rest, and no call may follow. Without padding, the data must be whole blocks. Failures:
  // CKR_DATA_LEN_RANGE or CKR_ENCRYPTED_DATA_LEN_RANGE, and CKR_ENCRYPTED_DATA_INVALID for bad padding.
  std::vector<CK_BYTE> Final();

  // ResultLength returns how many bytes Update with `length` bytes and Final return together; for padded decryption,
  // the most that they can return. UpdateLength returns exactly how many bytes Update alone returns.
  std::size_t ResultLength(std::size_t length) const;
  std::size_t UpdateLength(std::size_t length) const;

 private:
  struct Close {
    void operator()(gcry_cipher_handle* handle) const;
  };

  void SetKey(CK_KEY_TYPE type, const CK_BYTE* key, std::size_t length);
  void Work(std::vector<CK_BYTE>& blocks);
  void RemovePadding(std::vector<CK_BYTE>& block) const;

  Way m_way;
  bool m_padded = false;
  std::size_t m_block = 0;
  pkcs11::Secret m_pending;  // less than a block; in a padded decryption up to a whole one
  std::unique_ptr<gcry_cipher_handle, Close> m_handle;
};

}  // namespace adapter::software
