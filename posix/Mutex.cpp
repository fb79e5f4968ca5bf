// Named mutexes, as far as the log needs them: one mutex for all names, for this process only. Between processes
// O_APPEND keeps each written item in one piece.
#include <mutex>

#include "Handles.h"

namespace {

// Constant-initialised and never destroyed: usable before main and after it.
class LogMutex : public HostHandle {
 public:
  // Waits without a limit: no thread of this process keeps the mutex for long.
  DWORD Wait(DWORD /*milliseconds*/) override {
    m_mutex.lock();
    return WAIT_OBJECT_0;
  }
  void Close() override {}
  void Release() { m_mutex.unlock(); }

 private:
  std::mutex m_mutex;
};

LogMutex g_mutex;

}  // namespace

HANDLE CreateMutexA(void*, BOOL initialOwner, LPCSTR) {
  if (initialOwner != FALSE) g_mutex.Wait(INFINITE);
  return ToHandle(&g_mutex);
}

BOOL ReleaseMutex(HANDLE) {
  g_mutex.Release();
  return TRUE;
}
