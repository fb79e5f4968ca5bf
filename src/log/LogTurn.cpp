#include "log/LogTurn.h"

namespace {

constexpr DWORD kLongestWait = 100;  // milliseconds

// The mutex that all processes of the session share, opened by the first item of this one.
class LogMutex {
 public:
  LogMutex() : m_handle(CreateMutexA(nullptr, FALSE, "telvocsp-log")) {}
  ~LogMutex() {
    if (m_handle != nullptr) CloseHandle(m_handle);
    m_handle = nullptr;  // what is logged after this takes no turns
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

LogTurn::LogTurn() : m_taken(Mutex().Take()) {}

LogTurn::~LogTurn() {
  if (m_taken) Mutex().GiveBack();
}
