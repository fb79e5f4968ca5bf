#include "module/WaitingLogin.h"

#include "cryptoki/LoginLock.h"
#include "fixtures/PrivateMember.h"
#include "platform/IsTaken.h"

struct LoginMutex {
  using Type = std::mutex& (*)();
  friend Type Expose(LoginMutex tag);
};

template struct PrivateMember<LoginMutex, &LoginLock::Mutex>;

WaitingLogin::WaitingLogin(ScriptedModule& module, const std::string& entry) {
  module.BeforeNext(entry, [this] { Ask(); });
}

void WaitingLogin::Ask() { m_hadToWait = IsTaken(Expose(LoginMutex())()); }
