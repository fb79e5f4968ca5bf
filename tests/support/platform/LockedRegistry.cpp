#include "platform/LockedRegistry.h"

#include <utility>

#include "platform/StandIn.h"

namespace {

LockedRegistry::IsLocked g_isLockedKey;
LockedRegistry::IsLocked g_isLockedValue;

}  // namespace

LockedRegistry::LockedRegistry(IsLocked keys, IsLocked values) {
  g_isLockedKey = std::move(keys);
  g_isLockedValue = std::move(values);
}

LockedRegistry::~LockedRegistry() {
  g_isLockedKey = nullptr;
  g_isLockedValue = nullptr;
}

extern "C" {

#ifndef _WIN32
LSTATUS __real_RegOpenKeyA(HKEY key, LPCSTR subKey, PHKEY result);
LSTATUS __real_RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD length);
#endif

LSTATUS WINAPI SCRIPTED(RegOpenKeyA)(HKEY key, LPCSTR subKey, PHKEY result) {
  if (g_isLockedKey && g_isLockedKey(subKey)) return static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
  return REAL("advapi32.dll", RegOpenKeyA)(key, subKey, result);
}

LSTATUS WINAPI SCRIPTED(RegQueryValueExA)(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                          LPDWORD length) {
  if (g_isLockedValue && g_isLockedValue(name)) return static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
  return REAL("advapi32.dll", RegQueryValueExA)(key, name, reserved, type, data, length);
}

#ifdef _WIN32
void* __imp_RegOpenKeyA = reinterpret_cast<void*>(&ScriptedRegOpenKeyA);
void* __imp_RegQueryValueExA = reinterpret_cast<void*>(&ScriptedRegQueryValueExA);
#endif

}  // extern "C"
