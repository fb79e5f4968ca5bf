#include "rating/CPasswordChecker.h"

#include "common/WipeMemory.h"

// Copied, not moved: a short string still holds its characters after it was moved from.
CPasswordChecker::CPasswordChecker(std::string candidate, DWORD minimumLength)
    : m_candidate(candidate), m_minimumLength(minimumLength) {
  WipeString(candidate);
}

CPasswordChecker::~CPasswordChecker() { WipeString(m_candidate); }
