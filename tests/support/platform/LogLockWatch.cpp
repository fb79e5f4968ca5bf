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

#ifndef _WIN32
BOOL __real_ReleaseMutex(HANDLE mutex);
#endif

BOOL WINAPI SCRIPTED(ReleaseMutex)(HANDLE mutex) {
  Look();
  return REAL("kernel32.dll", ReleaseMutex)(mutex);
}

#ifdef _WIN32
void* __imp_ReleaseMutex = reinterpret_cast<void*>(&ScriptedReleaseMutex);
#endif

}  // extern "C"
