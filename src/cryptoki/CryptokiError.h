// CryptokiError: the exception of the whole Cryptoki client, a CK_RV and its text in the provider's own words. Thrown
// by value, caught by reference.
#pragma once

#include "common/Platform.h"

#include <string>

#include "cryptoki/Pkcs11.h"

class CryptokiError {
 public:
  explicit CryptokiError(CK_RV code);

  // The low 32 bits of the CK_RV, which are all of it on Windows.
  DWORD GetCode() const { return m_code; }
  std::string GetText() const { return m_message; }

 private:
  DWORD m_code;
  std::string m_message;
};

// ErrorText returns the text of a code. A code without one gives "Unknown Error Code: 0x..." with eight digits.
std::string ErrorText(CK_RV code);

// Check raises the result of a module call, unless it is CKR_OK.
inline void Check(CK_RV result) {
  if (result != CKR_OK) throw CryptokiError(result);
}

// RequireArgument raises CKR_ARGUMENTS_BAD, unless the argument of an operation is there.
inline void RequireArgument(bool present) { Check(present ? CKR_OK : CKR_ARGUMENTS_BAD); }
