// Wine wants an entry point of every library. Apart from the rest, because windows.h and the headers of the native
// libraries cannot be included together.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  (void)instance;
  (void)reason;
  (void)reserved;
  return TRUE;
}
