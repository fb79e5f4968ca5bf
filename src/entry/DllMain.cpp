// DllMain: the platform passes the library its own handle.
#include "common/LibraryInstance.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) g_libraryInstance = instance;
  return TRUE;
}
