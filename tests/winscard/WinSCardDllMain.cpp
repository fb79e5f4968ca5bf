// All that winscard.dll holds besides its forwarders.
#include <windows.h>

// The library, and with it the bridge, stays loaded until the process ends: the bridge has a thread of its own, which
// must not lose its code when the last user of PC/SC is unloaded.
BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    HMODULE pinned = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(instance), &pinned);
  }
  return TRUE;
}
