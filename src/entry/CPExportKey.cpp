// CPExportKey, CPImportKey: keys as blobs.
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKeyFactory.h"

// `dwFlags` is logged and not used.
BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType, DWORD dwFlags,
                        BYTE* pbData, DWORD* pcbDataLen) {
  const EntryFrame frame("CPExportKey");
  frame.LogNumber("\tdwBlobType:\t", dwBlobType);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tpcbDataLen: \t", *pcbDataLen);
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    switch (dwBlobType) {
      case SIMPLEBLOB:
        context->ExportSessionKey(static_cast<DWORD>(hKey), static_cast<DWORD>(hPubKey), pbData, pcbDataLen);
        return frame.Succeed();
      case PUBLICKEYBLOB:
        context->ExportPublicKey(static_cast<DWORD>(hKey), pbData, pcbDataLen);
        return frame.Succeed();
      default:
        return frame.Refuse("\nCPExportKey Error: Invalid Blob Type", NTE_BAD_TYPE);
    }
  });
}

// `hPubKey` is not read: the container's key decrypts.
BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY /*hPubKey*/, DWORD dwFlags,
                        HCRYPTKEY* phKey) {
  const EntryFrame frame("CPImportKey");
  g_entryLog.WriteFormatted("\tpbData: \t\t ", EntryFrame::Low32(pbData), "%08x", true);
  g_entryLog.WriteFormatted("\tcbDataLen: \t", cbDataLen, "%08x", true);
  g_entryLog.WriteFormatted("\tdwFlags: \t", dwFlags, "%08x", true);
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    DWORD key = 0;
    context->ImportKey(pbData, cbDataLen, phKey == nullptr ? nullptr : &key, &g_secretKeyFactory, dwFlags);
    *phKey = key;  // a null pointer has been refused
    return frame.Succeed();
  });
}
