// Errors: a code, its name, and advice on what to do.
#pragma once

#include "common/Platform.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace tool {

// The exit codes. Scripts rely on these numbers.
enum ExitCode {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,       // the command line
  kNotThere = 3,    // a container, a certificate, a card or a file is not there
  kPinProblem = 4,  // the PIN is wrong, locked, missing, or its dialog was cancelled
  kNotValid = 5,    // a signature or a certificate is not valid
};

// Failure: `what` says which step failed, in words that follow "telvotool COMMAND: ". `code` is the last-error code, or
// 0 when the step has none. `advice` replaces the advice of the table.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& what, DWORD code, const std::string& advice = "");
  Failure(const std::string& what, ExitCode exit, const std::string& advice);

  DWORD Code() const { return m_code; }
  ExitCode Exit() const { return m_exit; }
  const std::string& Advice() const { return m_advice; }

 private:
  DWORD m_code;
  ExitCode m_exit;
  std::string m_advice;
};

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// "NTE_BAD_KEYSET (0x80090016)"; of a code without a name here "0x80091234: " and the system's own words.
std::string CodeText(DWORD code);

// The code alone: "0x80090016".
std::string Hex(DWORD code);

// The code of that name among those that telvotool's own commands know.
std::optional<DWORD> CodeNamed(const std::string& name);
// What telvotool advises when one of its commands fails with the code. Empty when it has no advice.
std::string AdviceOf(DWORD code);
// The system's own words, without the full stop. Empty when it has none.
std::string SystemText(DWORD code);

// Raises a Failure with the last error when `success` is false.
inline void Require(BOOL success, const char* what) {
  if (success == FALSE) throw Failure(what, GetLastError());
}

}  // namespace tool
