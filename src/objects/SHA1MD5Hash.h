// SHA1MD5Hash: the hash of SSL3 and TLS 1.0 signatures: the MD5 value, and after it the SHA-1 value. It is signed
// without a DigestInfo.
#pragma once

#include "objects/TELVOCSPHash.h"

class SHA1MD5Hash : public TELVOCSPHash {
 public:
  using TELVOCSPHash::TELVOCSPHash;
  SHA1MD5Hash() = default;
  SHA1MD5Hash(const SHA1MD5Hash&) = default;
  ~SHA1MD5Hash() override;

  // Works as in CCSPHash, but an empty message raises NTE_BAD_HASH, and nothing is logged.
  void GetHash(BYTE* out, DWORD* length) override;
  // Works like GetHash.
  void GetPreSignData(BYTE* out, DWORD* length) override;
  using CCSPHash::operator=;
  // In interface order: append, never reorder.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): its place in the interface is the last
  virtual SHA1MD5Hash& operator=(const SHA1MD5Hash& other);

 private:
  void ComputeBoth();
};
