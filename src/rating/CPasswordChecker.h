// CPasswordChecker: rates a PIN that a user would like to have. The rating advises; nothing is refused because of it.
#pragma once

#include "common/Platform.h"

#include <string>

class CPasswordChecker {
 public:
  // The candidate is kept, and wiped with this object. `minimumLength` in characters.
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
