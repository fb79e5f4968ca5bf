// Named mutexes, as far as the log needs them: one for all names, and of this process only. Between processes the
// host's appending is whole by itself (O_APPEND).
#include <mutex>

#include "Handles.h"

namespace {

// Constant-initialised, and not destroyed: there before main and behind it.
class LogMutex : public HostHandle {
 public:
  // Waits as long as it takes: nobody of this process keeps the mutex.
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
