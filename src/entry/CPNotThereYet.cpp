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
BOOL WINAPI CPGenKey(HCRYPTPROV, ALG_ID, DWORD, HCRYPTKEY*) { return NotThereYet("CPGenKey"); }
BOOL WINAPI CPDeriveKey(HCRYPTPROV, ALG_ID, HCRYPTHASH, DWORD, HCRYPTKEY*) { return NotThereYet("CPDeriveKey"); }
BOOL WINAPI CPGetUserKey(HCRYPTPROV, DWORD, HCRYPTKEY*) { return NotThereYet("CPGetUserKey"); }
BOOL WINAPI CPDestroyKey(HCRYPTPROV, HCRYPTKEY) { return NotThereYet("CPDestroyKey"); }
BOOL WINAPI CPExportKey(HCRYPTPROV, HCRYPTKEY, HCRYPTKEY, DWORD, DWORD, BYTE*, DWORD*) {
  return NotThereYet("CPExportKey");
}
BOOL WINAPI CPImportKey(HCRYPTPROV, const BYTE*, DWORD, HCRYPTKEY, DWORD, HCRYPTKEY*) {
  return NotThereYet("CPImportKey");
}
BOOL WINAPI CPEncrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*, DWORD) {
  return NotThereYet("CPEncrypt");
}
BOOL WINAPI CPDecrypt(HCRYPTPROV, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*) {
  return NotThereYet("CPDecrypt");
}
