// Functions that are exported and not there yet: each logs its banner and name and refuses.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

namespace {

BOOL NotThereYet(const char* function) {
  const EntryFrame frame(function);
  SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
  return FALSE;
}

}  // namespace

// The parameters have their names where the functions are declared.
BOOL WINAPI CPEncrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*, DWORD) {
  return NotThereYet("CPEncrypt");
}
BOOL WINAPI CPDecrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*) {
  return NotThereYet("CPDecrypt");
}
