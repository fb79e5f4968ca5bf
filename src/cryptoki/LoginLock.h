// LoginLock: while a thread holds it, no other thread of the process logs a token in or out, or makes or destroys an
// object of one. So a login and the private operation behind it stay together, and whoever reads all objects of a token
// meets none that is gone by then.
//
// Never held across a dialog: a caller that shows one gives its turn back before and takes it again behind. Not
// recursive: a thread that holds a turn takes no second one.
#pragma once

#include <mutex>

class LoginLock {
 public:
  // Waits for the turn.
  LoginLock() : m_lock(Mutex()) {}
  ~LoginLock() = default;
  LoginLock(const LoginLock&) = delete;
  LoginLock& operator=(const LoginLock&) = delete;

  // Gives a turn back while it lives, and waits for it again at its end.
  class Pause {
   public:
    explicit Pause(LoginLock& lock) : m_lock(lock.m_lock) { m_lock.unlock(); }
    ~Pause() { m_lock.lock(); }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

   private:
    std::unique_lock<std::mutex>& m_lock;
  };

 private:
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }

  std::unique_lock<std::mutex> m_lock;
};
