// CPHashData, CPHashSessionKey: what a hash is fed with.
#include "common/ReverseBytes.h"
#include "context/CCSPContext.h"
#include "context/SessionKeyValue.h"
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHash.h"

BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen, DWORD dwFlags) {
  const EntryFrame frame("CPHashData");
  frame.LogPointer("\tpbData:    ", pbData);
  frame.LogNumber("\tdwFlags:   ", dwFlags);
  frame.LogNumber("\tcbDataLen: ", cbDataLen);
  if (dwFlags != 0) {
    return frame.Refuse("\nCPHashData Error: Invalid dwFlags, dwFlags not supported", NTE_BAD_FLAGS);
  }
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    const auto hash = context->GetHash(static_cast<DWORD>(hHash));
    if (hash->IsFinished() != 0) return frame.Refuse("\nCPHashData Error: Invalid Hash State", NTE_BAD_HASH_STATE);
    hash->AddData(pbData, cbDataLen);
    return frame.Succeed();
  });
}

// Required: `hHash` is not read. The hash is looked for under the handle of the key.
BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH /*hHash*/, HCRYPTKEY hKey, DWORD dwFlags) {
  const EntryFrame frame("CPHashSessionKey");
  g_entryLog.WriteHex("\tdwFlags: \t", dwFlags, true);
  if (dwFlags != 0 && dwFlags != CRYPT_LITTLE_ENDIAN) {
    return frame.Refuse("\nCPHashSessionKey Error: Invalid dwFlags", NTE_BAD_FLAGS);
  }
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    const auto hash = context->GetHash(static_cast<DWORD>(hKey));
    const auto key = context->GetSecretKey(static_cast<DWORD>(hKey));
    if (hash->IsFinished() != 0) {
      return frame.Refuse("\nCPHashSessionKey Error: Hash already in finished state", NTE_BAD_HASH_STATE);
    }
    KeyValue value = LoginAndReadValue(*context, *key);
    if (dwFlags == CRYPT_LITTLE_ENDIAN) ReverseBytes(value.bytes.Data(), value.length);
    hash->SetData(value.bytes.Data(), value.length);
    hash->Finish();
    return frame.Succeed();
  });
}
