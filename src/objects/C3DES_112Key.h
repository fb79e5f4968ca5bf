// C3DES_112Key: a session key of triple DES with two keys.
#pragma once

#include "objects/CDESKey.h"

class C3DES_112Key : public CDESKey {
 public:
  C3DES_112Key();
  C3DES_112Key(const C3DES_112Key&) = default;
  C3DES_112Key& operator=(const C3DES_112Key&) = default;
  ~C3DES_112Key() override;

  void SetMode(DWORD mode) override;
};
