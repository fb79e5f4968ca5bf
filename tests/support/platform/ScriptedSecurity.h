// ScriptedSecurity: wraps the functions that build a security descriptor. While an instance lives, calls may be
// refused; everything else is the platform's.
#pragma once

#include "common/Platform.h"

#include <map>
#include <string>

class ScriptedSecurity {
 public:
  ScriptedSecurity();
  ~ScriptedSecurity();
  ScriptedSecurity(const ScriptedSecurity&) = delete;
  ScriptedSecurity& operator=(const ScriptedSecurity&) = delete;

  // The n-th call of the function from now on, counted from 1, fails with that last error. Supported are
  // InitializeSecurityDescriptor, SetSecurityDescriptorDacl and MakeSelfRelativeSD.
  void FailOnCall(const std::string& function, int n, DWORD code) { m_orders[function] = {n, code}; }
  // The n-th `new (std::nothrow)` from now on fails.
  void LackMemoryOnCall(int n) { m_orders["new"] = {n, 0}; }

  // Counts the call. True if it is the one that fails.
  bool Fails(const std::string& function);

 private:
  struct Order {
    int callsToGo;
    DWORD code;
  };

  std::map<std::string, Order> m_orders;
};
