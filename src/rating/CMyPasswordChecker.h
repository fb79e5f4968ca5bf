// CMyPasswordChecker: the rules by which CChangePINDlg rates a new PIN. Letters, digits and cases are those of ASCII,
// whatever the locale of the process.
#pragma once

#include "rating/CPasswordChecker.h"

class CMyPasswordChecker : public CPasswordChecker {
 public:
  using CPasswordChecker::CPasswordChecker;

  // 0 to 100; 0 for an empty candidate.
  int GetStrength() const override;
};
