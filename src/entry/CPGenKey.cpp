// CPGenKey: a new key pair for the container, or a new session key.
#include "context/AcquireFlags.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKeyFactory.h"

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
  const EntryFrame frame("CPGenKey");
  frame.LogNumber("\tAlgid:", Algid);
  frame.LogNumber("\tdwFlags:", dwFlags);
  return frame.WithContext(hProv, [&](CCSPContext& context) {
    const bool isPair = Algid == AT_KEYEXCHANGE || Algid == AT_SIGNATURE;
    if (isPair && IsVerify(context.GetFlags())) return frame.Refuse("\nCPGenKey Error: FLAG IS VERIFY", NTE_PERM);
    if (phKey == nullptr) return frame.RefuseNull("phKey");
    DWORD key = 0;
    context.GenerateKeyPair(Algid, dwFlags, &key, &g_secretKeyFactory);
    *phKey = key;
    return frame.Succeed();
  });
}
