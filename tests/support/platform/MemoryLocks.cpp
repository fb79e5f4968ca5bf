#include "platform/MemoryLocks.h"

#include <utility>

namespace {

MemoryLocks* g_locks = nullptr;

}  // namespace

MemoryLocks::MemoryLocks(BOOL result) : m_result(result) { g_locks = this; }

MemoryLocks::~MemoryLocks() { g_locks = nullptr; }

MemoryLocks::Calls MemoryLocks::TakeCalls() { return std::exchange(m_calls, {}); }

BOOL MemoryLocks::Answer(const char* name, const void* address, std::size_t length) {
  if (g_locks == nullptr) return TRUE;
  g_locks->m_calls.emplace_back(name, address, length);
  return g_locks->m_result;
}

#ifdef _WIN32

// Callers go through the import pointer, which this program defines.
extern "C" {
static BOOL WINAPI ScriptedVirtualLock(LPVOID address, SIZE_T size) {
  return MemoryLocks::Answer("lock", address, size);
}
static BOOL WINAPI ScriptedVirtualUnlock(LPVOID address, SIZE_T size) {
  return MemoryLocks::Answer("unlock", address, size);
}
void* __imp_VirtualLock = reinterpret_cast<void*>(&ScriptedVirtualLock);
void* __imp_VirtualUnlock = reinterpret_cast<void*>(&ScriptedVirtualUnlock);
}

#else

BOOL VirtualLock(LPVOID address, std::size_t size) { return MemoryLocks::Answer("lock", address, size); }

BOOL VirtualUnlock(LPVOID address, std::size_t size) { return MemoryLocks::Answer("unlock", address, size); }

#endif
