// CryptokiError: the exception of the whole Cryptoki client, a CK_RV with its text in the provider's own
// words. Thrown by value, caught by reference.
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

// ErrorText returns the text of a code, or "Unknown Error Code: 0x..." with eight digits for a code that has
// none.
std::string ErrorText(CK_RV code);

// Check turns the result of a module call into an exception when it is not CKR_OK.
inline void Check(CK_RV result) {
  if (result != CKR_OK) throw CryptokiError(result);
}
