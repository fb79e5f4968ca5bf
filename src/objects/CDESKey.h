// CDESKey: a session key of DES, and the base class of the keys of triple DES.
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
  // CBC or ECB. Required: OFB and CFB work as CBC but report blocks of 8 bits. Any other mode is stored and changes
  // nothing else.
  void SetMode(DWORD mode) override;
  void SetIV(const BYTE* iv, DWORD length) override;

 protected:
  CDESKey(ALG_ID algorithm, DWORD keyLength);

  // SetMode of the derived classes.
  void SetTripleMode(DWORD mode);
};
