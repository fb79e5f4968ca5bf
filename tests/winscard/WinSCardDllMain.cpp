// The only code of winscard.dll besides its forwarders.
#include <windows.h>

// The library, and with it the bridge, stays loaded until the process ends. The bridge has its own thread, whose code
// must not be unloaded together with the last user of PC/SC.
BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    HMODULE pinned = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(instance), &pinned);
  }
  return TRUE;
}
