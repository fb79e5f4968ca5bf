// The subset of the Win32 base interface that the provider calls, with the published names, types and
// constants, for the host build. Semantics are those of the published documentation; what differs is said at
// the function. Every function works before main: log objects read the registry while static objects come up.
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
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPVOID = void*;

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
constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_MORE_DATA = 234;

constexpr DWORD NTE_FAIL = 0x80090020;

// Errors of the calling thread (Errors.cpp).
DWORD GetLastError();
void SetLastError(DWORD code);

// Dynamic loading (Loader.cpp). "folder/x.dll" loads "folder/libx.so", found as dlopen finds it.
HMODULE LoadLibraryA(LPCSTR fileName);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
BOOL FreeLibrary(HMODULE module);

// Named mutexes (Mutex.cpp), as far as they are described there.
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
HANDLE CreateMutexA(void* security, BOOL initialOwner, LPCSTR name);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
BOOL ReleaseMutex(HANDLE mutex);
BOOL CloseHandle(HANDLE handle);

// Registry (Registry.cpp): a text file named by the environment variable TELVO_REGISTRY, described there.
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000002U)))
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;

LSTATUS RegOpenKeyA(HKEY key, LPCSTR subKey, PHKEY result);
LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD length);
LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD length);
LSTATUS RegCloseKey(HKEY key);

// Overwrites memory that held a secret; not left out by an optimising compiler (Errors.cpp).
void* SecureZeroMemory(void* memory, std::size_t length);
