// CPGetUserKey: the handle of the container's key pair.
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

namespace {

// The two values of `dwKeySpec`, each for its own sake: other values that have their bits ask for nothing.
BOOL GetHandle(const EntryFrame& frame, CCSPContext& context, DWORD keySpec, HCRYPTKEY* key) {
  // Required: whatever the container has.
  if (keySpec != AT_SIGNATURE && keySpec != AT_KEYEXCHANGE) return frame.Succeed();
  if (context.HasPrivateKey() == 0) {
    return frame.Refuse(
        "\nCPGetUserKey Error: Private Key does not exist in this context. Check if this cert has been copied to "
        "Certificate Store",
        NTE_NO_KEY);
  }
  *key = keySpec == AT_SIGNATURE ? context.GetSignatureKeyHandle() : context.GetExchangeKeyHandle();
  return frame.Succeed();
}

}  // namespace

BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
  const EntryFrame frame("CPGetUserKey");
  frame.LogNumber("\tKeySpec: ", dwKeySpec);
  if (phUserKey == nullptr) {
    SetLastError(static_cast<DWORD>(NTE_BAD_KEY));
    return FALSE;
  }
  if ((dwKeySpec & (AT_KEYEXCHANGE | AT_SIGNATURE)) == 0) {
    return frame.Refuse("\nCPGetUserKey Error: Invalid dwKeySpec", NTE_NO_KEY);
  }
  return frame.Protect([&] { return GetHandle(frame, *g_contextList.FindContext(hProv), dwKeySpec, phUserKey); });
}
