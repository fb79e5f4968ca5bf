// CAES_128Key: a session key of AES with 128 bits.
#pragma once

#include "objects/CCSPSecretKey.h"

class CAES_128Key : public CCSPSecretKey {
 public:
  // SetMode sets the block length.
  CAES_128Key();
  CAES_128Key(const CAES_128Key&) = default;
  CAES_128Key& operator=(const CAES_128Key&) = default;
  ~CAES_128Key() override;

  void SetAlgID(DWORD algorithm) override;
  void SetBlockLength(DWORD bits) override;
  void SetKeyLength(DWORD length) override;
  // CBC or ECB. Required: OFB and CFB work as CBC but report blocks of 16 bits. Any other mode is stored, and then
  // NTE_BAD_FLAGS is raised.
  void SetMode(DWORD mode) override;
  void SetIV(const BYTE* iv, DWORD length) override;
};
