// CCSPContextError: the exception of everything above the Cryptoki client. The message goes to the log only. The code,
// an NTE_... value or a Win32 error number, becomes the caller's last error. Thrown by value, caught by reference.
#pragma once

#include "common/Platform.h"

#include <string>
#include <utility>

class CCSPContextError {
 public:
  // A template, because the system's headers define some codes as signed numbers.
  template <typename Code>
  CCSPContextError(std::string message, Code code) : m_message(std::move(message)), m_code(static_cast<DWORD>(code)) {}
  CCSPContextError(const CCSPContextError&) = default;
  CCSPContextError& operator=(const CCSPContextError&) = default;

  // In interface order: append, never reorder.
  virtual ~CCSPContextError() = default;
  virtual DWORD GetCode() const { return m_code; }
  virtual std::string GetMessage() const { return m_message; }

 private:
  std::string m_message;
  DWORD m_code;
};
