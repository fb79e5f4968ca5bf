// C3DESKey: a session key of triple DES with three keys.
#pragma once

#include "objects/CDESKey.h"

class C3DESKey : public CDESKey {
 public:
  C3DESKey();
  C3DESKey(const C3DESKey&) = default;
  C3DESKey& operator=(const C3DESKey&) = default;
  ~C3DESKey() override;

  void SetMode(DWORD mode) override;
};
