// The subset of the Win32 base interface that the provider calls, with the published names, types and
// constants, for the host build. Functions behave as Windows documents them, unless a comment here
// says otherwise. Every function works before main: static log objects read the registry in their constructors.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using BOOL = int;
using LONG = std::int32_t;
using CHAR = char;
using LPSTR = char*;
using LPCSTR = const char*;
using LPCWSTR = const wchar_t*;
using LPWSTR = wchar_t*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPVOID = void*;
using LPCVOID = const void*;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using WPARAM = UINT_PTR;
using LPARAM = INT_PTR;
using COLORREF = DWORD;

#define WINAPI
#define CALLBACK
#define APIENTRY
#define CONST const
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

using HANDLE = void*;
using HMODULE = struct HostModule*;
using HINSTANCE = HMODULE;
using FARPROC = void (*)();
using HKEY = struct HostRegistryKey*;
using PHKEY = HKEY*;
using LSTATUS = LONG;

constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
constexpr DWORD ERROR_UNKNOWN_REVISION = 1305;

constexpr DWORD NTE_BAD_UID = 0x80090001;
constexpr DWORD NTE_BAD_HASH = 0x80090002;
constexpr DWORD NTE_BAD_KEY = 0x80090003;
constexpr DWORD NTE_BAD_SIGNATURE = 0x80090006;
constexpr DWORD NTE_BAD_DATA = 0x80090005;
constexpr DWORD NTE_BAD_ALGID = 0x80090008;
constexpr DWORD NTE_BAD_TYPE = 0x8009000A;
constexpr DWORD NTE_BAD_HASH_STATE = 0x8009000C;
constexpr DWORD NTE_BAD_FLAGS = 0x80090009;
constexpr DWORD NTE_NO_KEY = 0x8009000D;
constexpr DWORD NTE_NO_MEMORY = 0x8009000E;
constexpr DWORD NTE_EXISTS = 0x8009000F;
constexpr DWORD NTE_PERM = 0x80090010;
constexpr DWORD NTE_NOT_FOUND = 0x80090011;
constexpr DWORD NTE_BAD_PUBLIC_KEY = 0x80090015;
constexpr DWORD NTE_BAD_KEYSET = 0x80090016;
constexpr DWORD NTE_BAD_KEYSET_PARAM = 0x8009001F;
constexpr DWORD NTE_FAIL = 0x80090020;
constexpr DWORD NTE_SILENT_CONTEXT = 0x80090022;
constexpr DWORD NTE_BAD_KEY_STATE = 0x8009000B;
constexpr DWORD NTE_INVALID_HANDLE = 0x80090026;
constexpr DWORD NTE_INVALID_PARAMETER = 0x80090027;
constexpr DWORD NTE_BUFFER_TOO_SMALL = 0x80090028;
constexpr DWORD NTE_INTERNAL_ERROR = 0x8009002D;

constexpr LONG SCARD_S_SUCCESS = 0;
constexpr DWORD SCARD_E_CANCELLED = 0x80100002;
constexpr DWORD SCARD_E_INVALID_HANDLE = 0x80100003;
constexpr DWORD SCARD_E_INVALID_PARAMETER = 0x80100004;
constexpr DWORD SCARD_E_NO_MEMORY = 0x80100006;
constexpr DWORD SCARD_E_INSUFFICIENT_BUFFER = 0x80100008;
constexpr DWORD SCARD_E_UNKNOWN_READER = 0x80100009;
constexpr DWORD SCARD_E_TIMEOUT = 0x8010000A;
constexpr DWORD SCARD_E_NO_SERVICE = 0x8010001D;
constexpr DWORD SCARD_E_NO_READERS_AVAILABLE = 0x8010002E;
constexpr DWORD SCARD_W_WRONG_CHV = 0x8010006B;
constexpr DWORD SCARD_W_CHV_BLOCKED = 0x8010006C;
constexpr DWORD SCARD_W_CANCELLED_BY_USER = 0x8010006E;
constexpr DWORD SCARD_W_CARD_NOT_AUTHENTICATED = 0x8010006F;

extern "C" {  // so that a test can replace any function

// Errors of the calling thread (Errors.cpp).
DWORD GetLastError();
void SetLastError(DWORD code);

// The running process and thread (Process.cpp). GetModuleFileNameA returns the path of the program, truncated if it
// does not fit with its terminating zero; only for the null module.
DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size);
DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

// Dynamic loading (Loader.cpp). "folder/x.dll" means "folder/libx.so", which dlopen looks for.
HMODULE LoadLibraryA(LPCSTR fileName);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
BOOL FreeLibrary(HMODULE module);

// Named mutexes (Mutex.cpp), with the limits described there.
HANDLE CreateMutexA(void* security, BOOL initialOwner, LPCSTR name);
BOOL ReleaseMutex(HANDLE mutex);

// Threads and events (Threads.cpp). A terminated thread ends at its next sleep or wait; TerminateThread waits for that.
// Events are manual-reset, not set at first, and never reset. A wait for several objects waits for any of them.
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID);
HANDLE CreateThread(void* security, SIZE_T stackSize, LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags,
                    LPDWORD id);
BOOL TerminateThread(HANDLE thread, DWORD exitCode);
void Sleep(DWORD milliseconds);
HANDLE CreateEventA(void* security, BOOL manualReset, BOOL initialState, LPCSTR name);
BOOL SetEvent(HANDLE event);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds);
BOOL CloseHandle(HANDLE handle);

// The version of the system (Process.cpp): 6.1 on the host. Fails if the size is not that of the structure.
struct OSVERSIONINFOA {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  CHAR szCSDVersion[128];
};
BOOL GetVersionExA(OSVERSIONINFOA* version);

// Registry (Registry.cpp): a text file named by the environment variable TELVO_REGISTRY, described there.
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000002U)))
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;

LSTATUS RegOpenKeyA(HKEY key, LPCSTR subKey, PHKEY result);
LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD length);
LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD length);
LSTATUS RegCloseKey(HKEY key);

// Security descriptors (Security.cpp), without owner, groups and lists.
using PSECURITY_DESCRIPTOR = void*;
using SECURITY_DESCRIPTOR_CONTROL = WORD;
struct SECURITY_DESCRIPTOR {
  BYTE Revision;
  BYTE Sbz1;
  SECURITY_DESCRIPTOR_CONTROL Control;
  void* Owner;
  void* Group;
  struct ACL* Sacl;
  struct ACL* Dacl;
};
using PACL = ACL*;
constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
constexpr WORD SE_DACL_PRESENT = 0x0004;
constexpr WORD SE_DACL_DEFAULTED = 0x0008;
constexpr WORD SE_SELF_RELATIVE = 0x8000;
constexpr DWORD OWNER_SECURITY_INFORMATION = 1;
constexpr DWORD GROUP_SECURITY_INFORMATION = 2;
constexpr DWORD DACL_SECURITY_INFORMATION = 4;
constexpr DWORD SACL_SECURITY_INFORMATION = 8;
BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted);
// A `*length` that is too small becomes the length needed. Otherwise it is not changed.
BOOL MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD length);
BOOL IsValidSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor);

// Messages, keys and results that the logic of the dialogs uses. The host build has no windows.
constexpr UINT WM_KEYDOWN = 0x0100;
constexpr UINT WM_KEYUP = 0x0101;
constexpr UINT WM_CHAR = 0x0102;
constexpr UINT WM_DEADCHAR = 0x0103;
constexpr UINT WM_MOUSEMOVE = 0x0200;
constexpr UINT WM_LBUTTONUP = 0x0202;
constexpr UINT WM_LBUTTONDBLCLK = 0x0203;
constexpr UINT WM_RBUTTONUP = 0x0205;
constexpr UINT WM_RBUTTONDBLCLK = 0x0206;
constexpr UINT WM_MBUTTONUP = 0x0208;
constexpr UINT WM_MBUTTONDBLCLK = 0x0209;
constexpr int VK_BACK = 0x08;
constexpr int VK_SHIFT = 0x10;
constexpr int VK_END = 0x23;
constexpr int VK_HOME = 0x24;
constexpr int VK_LEFT = 0x25;
constexpr int VK_RIGHT = 0x27;
constexpr int VK_DELETE = 0x2E;
constexpr int VK_LSHIFT = 0xA0;
constexpr int VK_RSHIFT = 0xA1;
constexpr UINT BN_CLICKED = 0;
constexpr UINT EN_SETFOCUS = 0x0100;
constexpr UINT EN_CHANGE = 0x0300;
constexpr UINT EN_UPDATE = 0x0400;
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr COLORREF RGB(BYTE red, BYTE green, BYTE blue) {
  return red | static_cast<COLORREF>(green) << 8U | static_cast<COLORREF>(blue) << 16U;
}

// Strings of the program's string table (Resources.cpp).
int LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int size);

// Keeps pages out of the swap space (PageLock.cpp).
BOOL VirtualLock(LPVOID address, std::size_t size);
// Reserves addresses (MEM_RESERVE), or commits memory to some of them (MEM_COMMIT) (Memory.cpp).
LPVOID VirtualAlloc(LPVOID address, std::size_t size, DWORD type, DWORD protection);
// Frees a whole reservation (MEM_RELEASE, with a size of 0).
BOOL VirtualFree(LPVOID address, std::size_t size, DWORD type);
constexpr DWORD MEM_COMMIT = 0x1000;
constexpr DWORD MEM_RESERVE = 0x2000;
constexpr DWORD MEM_RELEASE = 0x8000;
constexpr DWORD PAGE_NOACCESS = 1;
constexpr DWORD PAGE_READWRITE = 4;
BOOL VirtualUnlock(LPVOID address, std::size_t size);

// Overwrites memory that held a secret; an optimising compiler does not remove it (Errors.cpp).
void* SecureZeroMemory(void* memory, std::size_t length);

}  // extern "C"
