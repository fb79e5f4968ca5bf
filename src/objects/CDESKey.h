// CDESKey: a session key of DES, and the base of those of triple DES.
#pragma once

#include "objects/CCSPSecretKey.h"

class CDESKey : public CCSPSecretKey {
 public:
  CDESKey();
  CDESKey(const CDESKey&) = default;
  CDESKey& operator=(const CDESKey&) = default;
  ~CDESKey() override;

  void SetAlgID(DWORD algorithm) override;
  void SetBlockLength(DWORD bits) override;
  void SetKeyLength(DWORD length) override;
  // CBC or ECB. Required: OFB and CFB run as CBC and only tell blocks of 8 bits, and any other mode is stored and
  // changes nothing.
  void SetMode(DWORD mode) override;
  void SetIV(const BYTE* iv, DWORD length) override;

 protected:
  CDESKey(ALG_ID algorithm, DWORD keyLength);

  // SetMode of the heirs.
  void SetTripleMode(DWORD mode);
};
