// WaitingLogin: whether a thread that wants to log in while an entry of the module is called would have to wait.
#pragma once

#include <string>

#include "ScriptedModule.h"

class WaitingLogin {
 public:
  // Looks in the next call of `entry`.
  WaitingLogin(ScriptedModule& module, const std::string& entry);
  WaitingLogin(const WaitingLogin&) = delete;
  WaitingLogin& operator=(const WaitingLogin&) = delete;

  // Also false when the entry was not called.
  bool HadToWait() const { return m_hadToWait; }

 private:
  bool m_hadToWait = false;
};
