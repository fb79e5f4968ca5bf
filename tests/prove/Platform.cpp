// The functions in this file replace the system's, as in tests/support/platform. A function that releases something
// does so even when it must fail, because what the system could not close is not a leak of the provider. It also keeps
// the last error, because objects may be destroyed after a function has set its code.
#include "Platform.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <utility>

#include "Heap.h"
#include "platform/StandIn.h"

#ifdef _WIN32
#include <winternl.h>
extern "C" NTSTATUS NTAPI LdrGetProcedureAddress(HMODULE module, const ANSI_STRING* name, ULONG ordinal,
                                                 void** address);
#endif

namespace {

std::mutex g_mutex;
std::vector<std::string> g_calls;
std::atomic<bool> g_counts{false};
int g_failing = 0;
DWORD g_code = 0;
bool g_fromThenOn = false;
bool g_lackedPages = false;

// Sets the last error when the call must fail.
bool Fails(const char* function) {
  const DWORD code = Platform::Refusal(function);
  if (code != 0) SetLastError(code);
  return code != 0;
}

}  // namespace

void Platform::Fail(int n, DWORD code, bool fromThenOn) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_counts = true;
  g_calls.clear();
  g_failing = n;
  g_code = code;
  g_fromThenOn = fromThenOn;
  g_lackedPages = false;
}

bool Platform::LackedPages() { return g_lackedPages; }

std::vector<std::string> Platform::TakeCalls() {
  const std::lock_guard<std::mutex> lock(g_mutex);
  return std::exchange(g_calls, {});
}

DWORD Platform::Refusal(const char* function, bool ofWatcher) {
  // This comes first: the run-time library may call before thread-local variables work.
  if (!g_counts || (!ofWatcher && !ProviderAtWork::Now())) return 0;
  const ProviderAtWork notInside(false);
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_calls.emplace_back(function);
  const int number = static_cast<int>(g_calls.size());
  const bool fails = number == g_failing || (g_fromThenOn && g_failing != 0 && number > g_failing);
  if (fails && g_calls.back() == "VirtualAlloc") g_lackedPages = true;
  return fails ? g_code : 0;
}

// FAILING(library, result, name, parameters, arguments, failure) defines a function that can fail. RELEASING defines
// one that does its work even then.
#ifdef _WIN32

namespace {

// The loader's functions are replaced, too, so the system's functions are found with ntdll.
template <typename Function>
Function RealBelow(Function /*declared*/, const char* library, const char* name) {
  HMODULE module = GetModuleHandleA(library);
  if (module == nullptr) module = LoadLibraryExA(library, nullptr, 0);
  ANSI_STRING text = {static_cast<USHORT>(std::strlen(name)), static_cast<USHORT>(std::strlen(name)),
                      const_cast<char*>(name)};
  void* address = nullptr;
  LdrGetProcedureAddress(module, &text, 0, &address);
  return reinterpret_cast<Function>(address);
}

}  // namespace

#undef REAL
#define REAL(library, name) RealBelow(&Scripted##name, library, #name)
#define DECLARE_REAL(result, name, parameters)
#define INSTALL(name) void* __imp_##name = reinterpret_cast<void*>(&Scripted##name);
#else
#define DECLARE_REAL(result, name, parameters) result __real_##name parameters;
#define INSTALL(name)
#endif
#define FAILING(library, result, name, parameters, arguments, failure) \
  DECLARE_REAL(result, name, parameters)                               \
  result WINAPI SCRIPTED(name) parameters {                            \
    if (Fails(#name)) return failure;                                  \
    return REAL(library, name) arguments;                              \
  }                                                                    \
  INSTALL(name)
#define RELEASING(library, result, name, parameters, arguments, failure) \
  DECLARE_REAL(result, name, parameters)                                 \
  result WINAPI SCRIPTED(name) parameters {                              \
    const result answer = REAL(library, name) arguments;                 \
    return Platform::Refusal(#name) != 0 ? failure : answer;             \
  }                                                                      \
  INSTALL(name)

extern "C" {

// Registry. The result is the code itself.
FAILING("advapi32.dll", LSTATUS, RegOpenKeyA, (HKEY key, LPCSTR subKey, PHKEY out), (key, subKey, out),
        static_cast<LSTATUS>(GetLastError()))
FAILING("advapi32.dll", LSTATUS, RegQueryValueExA,
        (HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD length),
        (key, name, reserved, type, data, length), static_cast<LSTATUS>(GetLastError()))
RELEASING("advapi32.dll", LSTATUS, RegCloseKey, (HKEY key), (key), static_cast<LSTATUS>(ERROR_ACCESS_DENIED))

// Loader, process, string resources.
FAILING("kernel32.dll", HMODULE, LoadLibraryA, (LPCSTR name), (name), nullptr)
FAILING("kernel32.dll", FARPROC, GetProcAddress, (HMODULE module, LPCSTR name), (module, name), nullptr)
RELEASING("kernel32.dll", BOOL, FreeLibrary, (HMODULE module), (module), FALSE)
FAILING("kernel32.dll", DWORD, GetModuleFileNameA, (HMODULE module, LPSTR name, DWORD size), (module, name, size), 0)
FAILING("user32.dll", int, LoadStringA, (HINSTANCE instance, UINT id, LPSTR text, int size), (instance, id, text, size),
        0)

// Memory.
FAILING("kernel32.dll", LPVOID, VirtualAlloc, (LPVOID address, SIZE_T size, DWORD type, DWORD protection),
        (address, size, type, protection), nullptr)
RELEASING("kernel32.dll", BOOL, VirtualFree, (LPVOID address, SIZE_T size, DWORD type), (address, size, type), FALSE)

// Certificates.
FAILING("crypt32.dll", PCCERT_CONTEXT, CertCreateCertificateContext, (DWORD encoding, const BYTE* der, DWORD length),
        (encoding, der, length), nullptr)
RELEASING("crypt32.dll", BOOL, CertFreeCertificateContext, (PCCERT_CONTEXT certificate), (certificate), FALSE)
FAILING("crypt32.dll", BOOL, CertSetCertificateContextProperty,
        (PCCERT_CONTEXT certificate, DWORD property, DWORD flags, const void* data),
        (certificate, property, flags, data), FALSE)
FAILING("crypt32.dll", BOOL, CertAddCertificateContextToStore,
        (HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD disposition, PCCERT_CONTEXT* added),
        (store, certificate, disposition, added), FALSE)
FAILING("crypt32.dll", HCERTSTORE, CertOpenStore,
        (LPCSTR provider, DWORD encoding, HCRYPTPROV unused, DWORD flags, const void* parameter),
        (provider, encoding, unused, flags, parameter), nullptr)
RELEASING("crypt32.dll", BOOL, CertCloseStore, (HCERTSTORE store, DWORD flags), (store, flags), FALSE)
FAILING("crypt32.dll", BOOL, CertCompareCertificateName, (DWORD encoding, PCERT_NAME_BLOB a, PCERT_NAME_BLOB b),
        (encoding, a, b), FALSE)
FAILING("crypt32.dll", BOOL, CertVerifySubjectCertificateContext,
        (PCCERT_CONTEXT subject, PCCERT_CONTEXT issuer, DWORD* flags), (subject, issuer, flags), FALSE)
FAILING("crypt32.dll", PCERT_EXTENSION, CertFindExtension, (LPCSTR id, DWORD count, CERT_EXTENSION* extensions),
        (id, count, extensions), nullptr)
FAILING("crypt32.dll", BOOL, CryptDecodeObject,
        (DWORD encoding, LPCSTR type, const BYTE* der, DWORD derLength, DWORD flags, void* out, DWORD* length),
        (encoding, type, der, derLength, flags, out, length), FALSE)
FAILING("crypt32.dll", DWORD, CertNameToStrA,
        (DWORD encoding, PCERT_NAME_BLOB name, DWORD form, LPSTR text, DWORD size), (encoding, name, form, text, size),
        0)
FAILING("crypt32.dll", DWORD, CertGetNameStringA,
        (PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* parameter, LPSTR text, DWORD size),
        (certificate, type, flags, parameter, text, size), 0)

// Opens memory stores instead of the user's own stores.
HCERTSTORE WINAPI SCRIPTED(CertOpenSystemStoreA)(HCRYPTPROV, LPCSTR) {
  if (Fails("CertOpenSystemStoreA")) return nullptr;
  return REAL("crypt32.dll", CertOpenStore)(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
}
INSTALL(CertOpenSystemStoreA)

// Security descriptors.
FAILING("advapi32.dll", BOOL, InitializeSecurityDescriptor, (PSECURITY_DESCRIPTOR descriptor, DWORD revision),
        (descriptor, revision), FALSE)
FAILING("advapi32.dll", BOOL, SetSecurityDescriptorDacl,
        (PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted),
        (descriptor, present, dacl, defaulted), FALSE)
FAILING("advapi32.dll", BOOL, MakeSelfRelativeSD,
        (PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD length), (absolute, relative, length),
        FALSE)

#ifndef _WIN32
// Mutexes, threads and events. Not on Windows: there the linked run-time library calls them by the same imports.
FAILING("kernel32.dll", DWORD, WaitForSingleObject, (HANDLE handle, DWORD milliseconds), (handle, milliseconds),
        0xFFFFFFFF)
RELEASING("kernel32.dll", BOOL, ReleaseMutex, (HANDLE mutex), (mutex), FALSE)
RELEASING("kernel32.dll", BOOL, CloseHandle, (HANDLE handle), (handle), FALSE)
FAILING("kernel32.dll", DWORD, WaitForMultipleObjects,
        (DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds), (count, handles, all, milliseconds),
        0xFFFFFFFF)
FAILING("kernel32.dll", HANDLE, CreateThread,
        (void* security, SIZE_T stackSize, LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags, LPDWORD id),
        (security, stackSize, routine, argument, flags, id), nullptr)
FAILING("kernel32.dll", HANDLE, CreateEventA, (void* security, BOOL manualReset, BOOL initialState, LPCSTR name),
        (security, manualReset, initialState, name), nullptr)
#endif

// Shortens a watcher's pause.
DECLARE_REAL(void, Sleep, (DWORD milliseconds))
void WINAPI SCRIPTED(Sleep)(DWORD milliseconds) {
  constexpr DWORD kPause = 200;
  REAL("kernel32.dll", Sleep)(milliseconds == kPause ? 1 : milliseconds);
}
INSTALL(Sleep)

// Locks no memory.
BOOL WINAPI SCRIPTED(VirtualLock)(LPVOID, SIZE_T) { return Fails("VirtualLock") ? FALSE : TRUE; }
INSTALL(VirtualLock)
BOOL WINAPI SCRIPTED(VirtualUnlock)(LPVOID, SIZE_T) { return Fails("VirtualUnlock") ? FALSE : TRUE; }
INSTALL(VirtualUnlock)

}  // extern "C"
