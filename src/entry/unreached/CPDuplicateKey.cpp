// CPDuplicateKey: not exported, so no application reaches it.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

BOOL WINAPI CPDuplicateKey(HCRYPTPROV /*hProv*/, HCRYPTKEY /*hKey*/, DWORD* /*pdwReserved*/, DWORD dwFlags,
                           HCRYPTKEY* phKey) {
  const EntryFrame frame("CPDuplicateKey");
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  if (phKey == nullptr) return frame.RefuseNull("phKey");
  *phKey = 0;
  return frame.Refuse("\nCPDuplicateKey Error: Function not implemented", ERROR_CALL_NOT_IMPLEMENTED);
}
