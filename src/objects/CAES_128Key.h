// CAES_128Key: a session key of AES with 128 bits.
#pragma once

#include "objects/CCSPSecretKey.h"

class CAES_128Key : public CCSPSecretKey {
 public:
  // The block length comes with the mode.
  CAES_128Key();
  CAES_128Key(const CAES_128Key&) = default;
  CAES_128Key& operator=(const CAES_128Key&) = default;
  ~CAES_128Key() override;

  void SetAlgID(DWORD algorithm) override;
  void SetBlockLength(DWORD bits) override;
  void SetKeyLength(DWORD length) override;
  // CBC or ECB. Required: OFB and CFB run as CBC and only tell blocks of 16 bits, and any other mode is stored before
  // it is refused with NTE_BAD_FLAGS.
  void SetMode(DWORD mode) override;
  void SetIV(const BYTE* iv, DWORD length) override;
};
