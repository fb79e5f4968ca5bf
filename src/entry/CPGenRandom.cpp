// CPGenRandom: random bytes from the token.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer) {
  const EntryFrame frame("CPGenRandom");
  g_entryLog.WriteHex("\tpbBuffer: ", EntryFrame::Low32(pbBuffer), true);
  g_entryLog.WriteHex("\tcbLen: ", cbBuffer, true);
  return frame.WithContext(hProv, [&](CCSPContext& context) {
    context.GenerateRandom(pbBuffer, cbBuffer);
    return frame.Succeed();
  });
}
