// CPImportKey: a key from a blob.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKeyFactory.h"

// `hPubKey` is not read: the container's key decrypts.
BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY /*hPubKey*/, DWORD dwFlags,
                        HCRYPTKEY* phKey) {
  const EntryFrame frame("CPImportKey");
  g_entryLog.WriteFormatted("\tpbData: \t\t ", EntryFrame::Low32(pbData), "%08x", true);
  g_entryLog.WriteFormatted("\tcbDataLen: \t", cbDataLen, "%08x", true);
  g_entryLog.WriteFormatted("\tdwFlags: \t", dwFlags, "%08x", true);
  return frame.WithContext(hProv, [&](CCSPContext& context) {
    DWORD key = 0;
    context.ImportKey(pbData, cbDataLen, phKey == nullptr ? nullptr : &key, &g_secretKeyFactory, dwFlags);
    *phKey = key;  // the context has refused a null pointer
    return frame.Succeed();
  });
}
