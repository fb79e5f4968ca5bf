// Named mutexes, as far as the log needs them: one for all names, and of this process only. Between processes the
// host's appending is whole by itself (O_APPEND).
#include <windows.h>

#include <mutex>

namespace {

std::mutex g_mutex;  // constant-initialised: there before main

}  // namespace

HANDLE CreateMutexA(void*, BOOL initialOwner, LPCSTR) {
  if (initialOwner != FALSE) g_mutex.lock();
  return &g_mutex;
}

// Waits as long as it takes: nobody of this process keeps the mutex.
DWORD WaitForSingleObject(HANDLE, DWORD) {
  g_mutex.lock();
  return WAIT_OBJECT_0;
}

BOOL ReleaseMutex(HANDLE) {
  g_mutex.unlock();
  return TRUE;
}

BOOL CloseHandle(HANDLE) { return TRUE; }
