// An environment variable that a test sets for a scope.
#pragma once

#include <string>

#if defined(_WIN32)
#include "common/Platform.h"
#else
#include <cstdlib>
#endif

namespace adapter::testing {

class Variable {
 public:
  Variable(const char* name, const std::string& value) : m_name(name) {
#if defined(_WIN32)
    SetEnvironmentVariableA(name, value.c_str());
#else
    ::setenv(name, value.c_str(), 1);
#endif
  }
  ~Variable() {
#if defined(_WIN32)
    SetEnvironmentVariableA(m_name, nullptr);
#else
    ::unsetenv(m_name);
#endif
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* const m_name;
};

}  // namespace adapter::testing
