// LoginTurn: while a thread holds it, no other thread of the process logs a token in or out, so that a login and the
// private operation behind it stay together.
//
// Never held across a dialog: a caller that shows one gives its turn back before and takes it again behind. Not
// recursive: a thread that holds a turn takes no second one.
#pragma once

#include <mutex>

class LoginTurn {
 public:
  // Waits for the turn.
  LoginTurn() : m_lock(Mutex()) {}
  ~LoginTurn() = default;
  LoginTurn(const LoginTurn&) = delete;
  LoginTurn& operator=(const LoginTurn&) = delete;

  // Gives the turn back, and waits for it again.
  void Release() { m_lock.unlock(); }
  void Take() { m_lock.lock(); }

 private:
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }

  std::unique_lock<std::mutex> m_lock;
};
