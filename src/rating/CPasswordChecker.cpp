#include "rating/CPasswordChecker.h"

#include "common/WipeMemory.h"

// Copied and not moved: a short string that is moved from still holds its characters.
CPasswordChecker::CPasswordChecker(std::string candidate, DWORD minimumLength)
    : m_candidate(candidate), m_minimumLength(minimumLength) {
  WipeString(candidate);
}

CPasswordChecker::~CPasswordChecker() { WipeString(m_candidate); }
