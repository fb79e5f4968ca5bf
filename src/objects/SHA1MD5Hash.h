// SHA1MD5Hash: the hash of SSL3 and TLS 1.0 signatures, the MD5 value with the SHA-1 value behind it. It is signed
// without a DigestInfo.
#pragma once

#include "objects/TELVOCSPHash.h"

class SHA1MD5Hash : public TELVOCSPHash {
 public:
  using TELVOCSPHash::TELVOCSPHash;
  SHA1MD5Hash() = default;
  SHA1MD5Hash(const SHA1MD5Hash&) = default;
  ~SHA1MD5Hash() override;

  // As of any hash, except that an empty message is NTE_BAD_HASH and nothing is logged.
  void GetHash(BYTE* out, DWORD* length) override;
  // As GetHash.
  void GetPreSignData(BYTE* out, DWORD* length) override;
  using CCSPHash::operator=;
  // In interface order: append, never reorder.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): its place in the interface is the last
  virtual SHA1MD5Hash& operator=(const SHA1MD5Hash& other);

 private:
  void ComputeBoth();
};
