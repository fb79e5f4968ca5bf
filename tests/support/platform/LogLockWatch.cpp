#include "platform/LogLockWatch.h"

#include <utility>

#include "platform/StandIn.h"

namespace {

std::function<void()> g_look;

void Look() {
  if (g_look) g_look();
}

}  // namespace

LogLockWatch::LogLockWatch(std::function<void()> look) { g_look = std::move(look); }

LogLockWatch::~LogLockWatch() { g_look = nullptr; }

extern "C" {

#ifdef _WIN32

BOOL WINAPI SCRIPTED(ReleaseMutex)(HANDLE mutex) {
  Look();
  return REAL("kernel32.dll", ReleaseMutex)(mutex);
}

void* __imp_ReleaseMutex = reinterpret_cast<void*>(&ScriptedReleaseMutex);

#else

// The host's has the name of a function of C++.
BOOL __real__Z12ReleaseMutexPv(HANDLE mutex);

BOOL __wrap__Z12ReleaseMutexPv(HANDLE mutex) {
  Look();
  return __real__Z12ReleaseMutexPv(mutex);
}

#endif

}  // extern "C"
