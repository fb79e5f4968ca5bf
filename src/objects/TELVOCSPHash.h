// TELVOCSPHash: a hash of one algorithm, MD5, SHA-1, SHA-256 or SHA-512.
#pragma once

#include "objects/CCSPHash.h"

class TELVOCSPHash : public CCSPHash {
 public:
  using CCSPHash::CCSPHash;
  TELVOCSPHash() = default;
  TELVOCSPHash(const TELVOCSPHash&) = default;
  using CCSPHash::operator=;
  TELVOCSPHash& operator=(const TELVOCSPHash&) = default;
  ~TELVOCSPHash() override;
};
