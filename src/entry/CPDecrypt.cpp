// CPDecrypt: data, decrypted with the container's key pair or with a session key.
#include "common/WipeMemory.h"
#include "entry/DataKey.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "entry/RemovePKCSPadding.h"

namespace {

// Required: wrong padding has no separate line in the log, and the decrypted bytes stay in the buffer.
BOOL RemovePadding(const EntryFrame& frame, BYTE* data, DWORD* length) {
  g_entryLog.WriteLine("Removing PKCS Padding");
  return RemovePKCSPadding(data, length) ? TRUE : frame.RefuseSilently(NTE_BAD_DATA);
}

}  // namespace

// `dwFlags` is logged and not used.
BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen) {
  const EntryFrame frame("CPDecrypt");
  frame.LogNumber("\tfFinal: \t\t ", static_cast<DWORD>(fFinal));
  frame.LogNumber("\thKey: \t\t", hKey);
  frame.LogPointer("\thpbData: \t", pbData);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tpcbDataLen: \t", *pcbDataLen);
  if (hHash != 0) return frame.Refuse("\nCPDecrypt Error: HASH not supported", ERROR_INVALID_PARAMETER);
  return frame.WithContext(hProv, [&](CCSPContext& context) -> BOOL {
    boost::shared_ptr<CCSPSecretKey> key;  // null: the key pair
    if (!context.IsKeyPair(hKey)) {
      key = FindSessionKey(frame, context, hKey);
      if (!key) return FALSE;
    }
    if (pbData == nullptr && *pcbDataLen != 0) return frame.RefuseNull("pbData");
    const WipedBuffer copy = WipedCopy(pbData, *pcbDataLen);
    DWORD length = *pcbDataLen;
    if (key) {
      g_entryLog.WriteLine("Secret Key Decrypt");
      g_entryLog.WriteLine("\r\nDecrypting ");
      key->Decrypt(copy.Data(), *pcbDataLen, pbData, &length);
      if (fFinal != FALSE && RemovePadding(frame, pbData, &length) == FALSE) return FALSE;
    } else {
      g_entryLog.WriteLine("RSA Key Decrypt");
      context.Decrypt(copy.Data(), *pcbDataLen, pbData, &length);
    }
    *pcbDataLen = length;
    g_entryLog.WriteHex("Result Len: ", length, true);
    // Required: decrypted data is logged in clear.
    g_entryLog.WriteBytes("PlainText: ", pbData, pbData != nullptr ? length : 0, true);
    return frame.Succeed();
  });
}
