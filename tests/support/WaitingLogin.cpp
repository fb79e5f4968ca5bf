#include "WaitingLogin.h"

#include "IsTaken.h"
#include "PrivateMember.h"
#include "cryptoki/LoginTurn.h"

struct TurnMutex {
  using Type = std::mutex& (*)();
  friend Type Expose(TurnMutex tag);
};

template struct PrivateMember<TurnMutex, &LoginTurn::Mutex>;

WaitingLogin::WaitingLogin(ScriptedModule& module, const std::string& entry) {
  module.BeforeNext(entry, [this] { Ask(); });
}

void WaitingLogin::Ask() { m_hadToWait = IsTaken(Expose(TurnMutex())()); }
