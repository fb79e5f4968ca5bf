// CPExportKey: a key as a blob.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

// `dwFlags` is logged and not used.
BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType, DWORD dwFlags,
                        BYTE* pbData, DWORD* pcbDataLen) {
  const EntryFrame frame("CPExportKey");
  frame.LogNumber("\tdwBlobType:\t", dwBlobType);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tpcbDataLen: \t", *pcbDataLen);
  return frame.WithContext(hProv, [&](CCSPContext& context) {
    switch (dwBlobType) {
      case SIMPLEBLOB:
        context.ExportSessionKey(static_cast<DWORD>(hKey), static_cast<DWORD>(hPubKey), pbData, pcbDataLen);
        return frame.Succeed();
      case PUBLICKEYBLOB:
        context.ExportPublicKey(static_cast<DWORD>(hKey), pbData, pcbDataLen);
        return frame.Succeed();
      default:
        return frame.Refuse("\nCPExportKey Error: Invalid Blob Type", NTE_BAD_TYPE);
    }
  });
}
