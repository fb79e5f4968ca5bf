// CPDestroyKey, CPDuplicateKey.
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKeyFactory.h"

BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
  const EntryFrame frame("CPDestroyKey");
  frame.LogNumber("\thkey: \t", hKey);
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    // Required: both destroy the token object. The second time the module refuses, which nobody is told.
    context->RemoveSecretKey(static_cast<DWORD>(hKey));
    g_secretKeyFactory.DestroySecretKey(static_cast<DWORD>(hKey));
    return frame.Succeed();
  });
}

BOOL WINAPI CPDuplicateKey(HCRYPTPROV /*hProv*/, HCRYPTKEY /*hKey*/, DWORD* /*pdwReserved*/, DWORD dwFlags,
                           HCRYPTKEY* phKey) {
  const EntryFrame frame("CPDuplicateKey");
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  if (phKey == nullptr) return frame.RefuseNull("phKey");
  *phKey = 0;
  return frame.Refuse("\nCPDuplicateKey Error: Function not implemented", ERROR_CALL_NOT_IMPLEMENTED);
}
