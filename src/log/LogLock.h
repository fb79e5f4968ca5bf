// LogLock: while it lives, no other thread or process of the session writes to the log.
//
// The run-time library appends by seeking to the end and then writing; two that do so at once write over each other.
#pragma once

#include "common/Platform.h"

class LogLock {
 public:
  // Waits for the lock, but not for long: a process that holds it and hangs must not block the others. The lock of a
  // thread that ended without releasing it is taken over. What is logged while the last static objects are destroyed
  // takes no lock.
  LogLock();
  ~LogLock();
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;

 private:
  bool m_taken;
};
