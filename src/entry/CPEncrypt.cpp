// CPEncrypt: data, encrypted with the container's key pair or with a session key.
#include "entry/DataKey.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

// `fFinal` and `dwFlags` are logged and not used: nothing is padded here.
BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen, DWORD cbBufLen) {
  const EntryFrame frame("CPEncrypt");
  frame.LogNumber("\tfFinal: \t", static_cast<DWORD>(fFinal));
  frame.LogPointer("\thpbData: \t", pbData);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  frame.LogNumber("\tcbBufLen: \t", cbBufLen);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tpcbDataLen: \t", *pcbDataLen);
  if (hHash != 0) return frame.Refuse("\nCPEncrypt Error: HASH not supported", ERROR_INVALID_PARAMETER);
  return frame.WithContext(hProv, [&](CCSPContext& context) -> BOOL {
    // Required: the two lengths swap their roles. For the key pair `*pcbDataLen` is the length of the input and
    // `cbBufLen` the room. For a session key they are the other way round.
    if (context.IsKeyPair(hKey)) {
      DWORD room = cbBufLen;
      context.Encrypt(pbData, *pcbDataLen, pbData, &room);
      *pcbDataLen = room;
      return frame.Succeed();
    }
    const auto key = FindSessionKey(frame, context, hKey);
    if (!key) return FALSE;
    DWORD room = *pcbDataLen;
    key->Encrypt(pbData, cbBufLen, pbData, &room);
    *pcbDataLen = room;
    return frame.Succeed();
  });
}
