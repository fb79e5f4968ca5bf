// CPGetUserKey: the handle of the container's key pair.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

namespace {

BOOL GetHandle(const EntryFrame& frame, CCSPContext& context, DWORD keySpec, HCRYPTKEY* key) {
  // Required: another value that has the bit of one of the two succeeds and writes nothing.
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
  if (phUserKey == nullptr) return frame.RefuseSilently(NTE_BAD_KEY);
  if ((dwKeySpec & (AT_KEYEXCHANGE | AT_SIGNATURE)) == 0) {
    return frame.Refuse("\nCPGetUserKey Error: Invalid dwKeySpec", NTE_NO_KEY);
  }
  return frame.WithContext(hProv,
                           [&](CCSPContext& context) { return GetHandle(frame, context, dwKeySpec, phUserKey); });
}
