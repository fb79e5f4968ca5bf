// Answers in words: "TRUE", "FALSE NTE_BAD_FLAGS", "TRUE, 20 bytes".
#pragma once

#include "common/Platform.h"

#include <stdexcept>
#include <string>
#include <vector>

using Bytes = std::vector<BYTE>;
inline DWORD Length(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

// The name of a last-error code, or its number in hexadecimal.
std::string CodeName(DWORD code);

// The answer of a call that has just returned: FALSE with its last error, or TRUE with the details, if there are any.
std::string Answer(BOOL done, const std::string& details = std::string());

std::string InBytes(std::size_t size);  // "20 bytes"
std::string Hex(const Bytes& bytes);    // of at most the first four bytes, "A9993E36"
std::string Number(DWORD number);       // in decimal
std::string Flags(DWORD flags);         // in hexadecimal

// A step before the row's call failed. The answer of the row is then that of the step.
struct StepFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws StepFailed, "FALSE NTE_FAIL (CryptGenKey)", unless the step of that name succeeded.
void Step(BOOL done, const char* name);
