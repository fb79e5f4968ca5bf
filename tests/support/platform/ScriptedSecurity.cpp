#include "platform/ScriptedSecurity.h"

#include <new>

#include "platform/StandIn.h"

namespace {

ScriptedSecurity* g_scriptedSecurity = nullptr;

bool Fails(const char* function) { return g_scriptedSecurity != nullptr && g_scriptedSecurity->Fails(function); }

}  // namespace

ScriptedSecurity::ScriptedSecurity() { g_scriptedSecurity = this; }

ScriptedSecurity::~ScriptedSecurity() { g_scriptedSecurity = nullptr; }

bool ScriptedSecurity::Fails(const std::string& function) {
  const auto order = m_orders.find(function);
  if (order == m_orders.end() || --order->second.callsToGo != 0) return false;
  SetLastError(order->second.code);
  return true;
}

#ifdef _WIN32

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (Fails("new")) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

#else

// The linker does the same here, because a sanitizer's own operator must stay.
extern "C" {
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept {
  return Fails("new") ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

BOOL __real_InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL __real_SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted);
BOOL __real_MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD length);
}

#endif

extern "C" {

BOOL WINAPI SCRIPTED(InitializeSecurityDescriptor)(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  if (Fails("InitializeSecurityDescriptor")) return FALSE;
  return REAL("advapi32.dll", InitializeSecurityDescriptor)(descriptor, revision);
}

BOOL WINAPI SCRIPTED(SetSecurityDescriptorDacl)(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl,
                                                BOOL defaulted) {
  if (Fails("SetSecurityDescriptorDacl")) return FALSE;
  return REAL("advapi32.dll", SetSecurityDescriptorDacl)(descriptor, present, dacl, defaulted);
}

BOOL WINAPI SCRIPTED(MakeSelfRelativeSD)(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD length) {
  if (Fails("MakeSelfRelativeSD")) return FALSE;
  return REAL("advapi32.dll", MakeSelfRelativeSD)(absolute, relative, length);
}

#ifdef _WIN32
void* __imp_InitializeSecurityDescriptor = reinterpret_cast<void*>(&ScriptedInitializeSecurityDescriptor);
void* __imp_SetSecurityDescriptorDacl = reinterpret_cast<void*>(&ScriptedSetSecurityDescriptorDacl);
void* __imp_MakeSelfRelativeSD = reinterpret_cast<void*>(&ScriptedMakeSelfRelativeSD);
#endif

}  // extern "C"
