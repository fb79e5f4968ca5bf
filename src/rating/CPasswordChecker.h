// CPasswordChecker: rates a new PIN. The rating only advises: no PIN is refused because of it.
#pragma once

#include "common/Platform.h"

#include <string>

class CPasswordChecker {
 public:
  // The object keeps a copy of the candidate and wipes it when it is destroyed. A candidate of `minimumLength` bytes or
  // more is rated as long enough.
  CPasswordChecker(std::string candidate, DWORD minimumLength);
  CPasswordChecker(const CPasswordChecker&) = delete;
  CPasswordChecker& operator=(const CPasswordChecker&) = delete;

  // In interface order: append, never reorder.
  virtual ~CPasswordChecker();
  virtual int GetStrength() const = 0;

 protected:
  std::string m_candidate;
  DWORD m_minimumLength;
};
