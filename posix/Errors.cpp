#include <windows.h>

#include <cstring>

namespace {
thread_local DWORD t_lastError = 0;
}  // namespace

DWORD GetLastError() { return t_lastError; }

void SetLastError(DWORD code) { t_lastError = code; }

void* SecureZeroMemory(void* memory, std::size_t length) {
  explicit_bzero(memory, length);
  return memory;
}
