// LogLockWatch: lets a test look at the log when the log is about to be unlocked: `look` runs before each mutex is
// released.
#pragma once

#include <functional>

class LogLockWatch {
 public:
  explicit LogLockWatch(std::function<void()> look);
  ~LogLockWatch();
  LogLockWatch(const LogLockWatch&) = delete;
  LogLockWatch& operator=(const LogLockWatch&) = delete;
};
