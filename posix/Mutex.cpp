// Named mutexes, as far as the log needs them: one mutex for all names, for this process only. Between processes
// O_APPEND keeps each written item in one piece.
#include <mutex>
#include <pthread.h>

#include "Deadline.h"
#include "Handles.h"

namespace {

// Constant-initialised and never destroyed: usable before main and after it.
class LogMutex : public HostHandle {
 public:
  DWORD Wait(DWORD milliseconds) override {
    if (milliseconds == INFINITE) {
      m_mutex.lock();
      return WAIT_OBJECT_0;
    }
    // ThreadSanitizer does not know the function that std::timed_mutex waits with.
    const timespec end = After(milliseconds, CLOCK_REALTIME);
    return pthread_mutex_timedlock(m_mutex.native_handle(), &end) == 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
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
