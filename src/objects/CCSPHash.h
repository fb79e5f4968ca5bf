// CCSPHash: what stands behind an HCRYPTHASH.
#pragma once

#include "common/Platform.h"

class CCSPHash {
 public:
  CCSPHash() = default;
  virtual ~CCSPHash() = default;
  CCSPHash(const CCSPHash&) = delete;
  CCSPHash& operator=(const CCSPHash&) = delete;

  // The value handed out as HCRYPTHASH.
  virtual DWORD GetHashID() const = 0;
};
