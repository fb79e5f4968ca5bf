// WaitingLogin: whether another thread that wants to log in, or to make or destroy an object, would have to wait while
// the module is at work.
#pragma once

#include <string>

#include "module/ScriptedModule.h"

class WaitingLogin {
 public:
  // Looks during the next call of `entry`.
  WaitingLogin(ScriptedModule& module, const std::string& entry);
  // Looks when Ask is called.
  WaitingLogin() = default;
  WaitingLogin(const WaitingLogin&) = delete;
  WaitingLogin& operator=(const WaitingLogin&) = delete;

  void Ask();
  // Also false when it did not look.
  bool HadToWait() const { return m_hadToWait; }

 private:
  bool m_hadToWait = false;
};
