// The running process, and the system on which it runs.
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

DWORD GetCurrentThreadId() { return static_cast<DWORD>(gettid()); }

BOOL GetVersionExA(OSVERSIONINFOA* version) {
  if (version->dwOSVersionInfoSize != sizeof(*version)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  version->dwMajorVersion = 6;
  version->dwMinorVersion = 1;
  version->dwBuildNumber = 7601;
  version->dwPlatformId = 2;  // VER_PLATFORM_WIN32_NT
  version->szCSDVersion[0] = '\0';
  return TRUE;
}
