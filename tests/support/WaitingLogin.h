// WaitingLogin: another thread that wants to log in, or to make or destroy an object, while the module is at work.
#pragma once

#include <chrono>
#include <future>
#include <string>

#include "ScriptedModule.h"
#include "cryptoki/LoginTurn.h"

class WaitingLogin {
 public:
  // From the next call of `entry` on the other thread asks for its turn. The call goes on a little later.
  WaitingLogin(ScriptedModule& module, const std::string& entry) {
    module.BeforeNext(entry, [this] { Ask(); });
  }
  // At the call of Ask.
  WaitingLogin() = default;
  WaitingLogin(const WaitingLogin&) = delete;
  WaitingLogin& operator=(const WaitingLogin&) = delete;

  void Ask() {
    m_login = std::async(std::launch::async, [] { const LoginTurn turn; });
    m_hadToWait = m_login.wait_for(std::chrono::milliseconds(20)) == std::future_status::timeout;
  }

  // Whether it did not get its turn during the call. Returns when it had it.
  bool HadToWait() {
    if (m_login.valid()) m_login.get();
    return m_hadToWait;
  }

 private:
  std::future<void> m_login;
  bool m_hadToWait = false;
};
