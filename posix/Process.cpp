// The running process.
#include <windows.h>

#include <unistd.h>

DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size) {
  if (module != nullptr || size == 0) return 0;
  const ssize_t length = readlink("/proc/self/exe", fileName, size - 1);
  if (length < 0) return 0;
  fileName[length] = '\0';
  return static_cast<DWORD>(length);
}

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }
