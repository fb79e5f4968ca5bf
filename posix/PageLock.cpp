// Memory that is kept out of the swap space.
#include <windows.h>

#include <sys/mman.h>

BOOL VirtualLock(LPVOID address, std::size_t size) { return mlock(address, size) == 0 ? TRUE : FALSE; }

BOOL VirtualUnlock(LPVOID address, std::size_t size) { return munlock(address, size) == 0 ? TRUE : FALSE; }
