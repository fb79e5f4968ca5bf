// CCSPSecretKey: what stands behind the HCRYPTKEY of a session key, an object of the token.
#pragma once

#include "common/Platform.h"

class CCSPSecretKey {
 public:
  CCSPSecretKey() = default;
  virtual ~CCSPSecretKey() = default;
  CCSPSecretKey(const CCSPSecretKey&) = delete;
  CCSPSecretKey& operator=(const CCSPSecretKey&) = delete;

  // The value handed out as HCRYPTKEY.
  virtual DWORD GetKeyID() const = 0;
  // The length of the key's value in bytes.
  virtual DWORD GetKeyLength() const = 0;
  // Reads the value from the token into `out`. Required: `*length` is only read, and a null `out` tells nothing.
  virtual void GetKeyValue(BYTE* out, DWORD* length) = 0;
  // Destroys the key object on the token.
  virtual void DestroyObject() = 0;
};
