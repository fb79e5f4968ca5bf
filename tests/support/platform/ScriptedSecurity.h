// ScriptedSecurity: stands before what a security descriptor is built with. While an instance lives, calls may be
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

  // The n-th call of the function from now on, counted from 1, fails with that last error. Known are
  // InitializeSecurityDescriptor, SetSecurityDescriptorDacl and MakeSelfRelativeSD.
  void FailOnCall(const std::string& function, int n, DWORD code) { m_orders[function] = {n, code}; }
  // The n-th allocation that may fail without an exception does.
  void LackMemoryOnCall(int n) { m_orders["new"] = {n, 0}; }

  // Counts the call; whether it is the one that fails.
  bool Fails(const std::string& function);

 private:
  struct Order {
    int callsToGo;
    DWORD code;
  };

  std::map<std::string, Order> m_orders;
};
