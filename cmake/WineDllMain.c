// Wine needs an entry point in every library. It is in a separate file because windows.h and the headers of the native
// libraries cannot be included together.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  (void)instance;
  (void)reason;
  (void)reserved;
  return TRUE;
}
