// LoginLock: while a thread holds it, no other thread of the process logs a token in or out, or makes or destroys an
// object of one. So a login and the private operation after it stay together, and a thread that reads all objects of a
// token meets none that has been destroyed meanwhile.
//
// There is one lock for the process. A thread that holds it may take it again. Take it before any other lock. Do not
// hold it across a dialog, a pause, a wait for a card, or a static destructor: Pause releases it there.
#pragma once

#include <mutex>

class LoginLock {
 public:
  // Waits until no other thread holds the lock.
  LoginLock();
  ~LoginLock();
  LoginLock(const LoginLock&) = delete;
  LoginLock& operator=(const LoginLock&) = delete;

  // Releases the lock while it lives, however often the calling thread has taken it, and waits for it again when it is
  // destroyed. Does nothing in a thread that does not hold the lock.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

   private:
    unsigned m_holds;
  };

 private:
  static std::mutex& Mutex();
};
