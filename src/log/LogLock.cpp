#include "log/LogLock.h"

#include <atomic>

namespace {

constexpr DWORD kLongestWait = 100;  // milliseconds

// Static objects that are destroyed after the mutex may still log. This flag is outside the mutex object: a compiler
// drops what a destructor stores into its own object.
std::atomic<bool> g_isMutexClosed{false};

// The mutex that all processes of the session share, opened by the first item of this one.
class LogMutex {
 public:
  LogMutex() : m_handle(CreateMutexA(nullptr, FALSE, "telvocsp-log")) {}
  ~LogMutex() {
    g_isMutexClosed = true;
    if (m_handle != nullptr) CloseHandle(m_handle);
  }
  LogMutex(const LogMutex&) = delete;
  LogMutex& operator=(const LogMutex&) = delete;

  bool Take() const {
    if (m_handle == nullptr) return false;
    const DWORD result = WaitForSingleObject(m_handle, kLongestWait);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }

  void GiveBack() const { ReleaseMutex(m_handle); }

 private:
  HANDLE m_handle;
};

LogMutex& Mutex() {
  static LogMutex mutex;
  return mutex;
}

}  // namespace

LogLock::LogLock() : m_taken(!g_isMutexClosed && Mutex().Take()) {}

LogLock::~LogLock() {
  if (m_taken) Mutex().GiveBack();
}
