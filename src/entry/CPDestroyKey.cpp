// CPDestroyKey: the end of a session key or of an imported public key.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKeyFactory.h"

BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
  const EntryFrame frame("CPDestroyKey");
  frame.LogNumber("\thkey: \t", hKey);
  return frame.WithContext(hProv, [&](CCSPContext& context) {
    // Required: both destroy the object on the token. The module refuses the second time, and that is not reported.
    context.RemoveSecretKey(static_cast<DWORD>(hKey));
    g_secretKeyFactory.DestroySecretKey(static_cast<DWORD>(hKey));
    return frame.Succeed();
  });
}
