// CPHashSessionKey: gives a hash the value of a session key.
#include "common/ReverseBytes.h"
#include "context/SessionKeyValue.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHash.h"

// Required: `hHash` is not read. The hash is looked for under the handle of the key.
BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH /*hHash*/, HCRYPTKEY hKey, DWORD dwFlags) {
  const EntryFrame frame("CPHashSessionKey");
  g_entryLog.WriteHex("\tdwFlags: \t", dwFlags, true);
  if (dwFlags != 0 && dwFlags != CRYPT_LITTLE_ENDIAN) {
    return frame.Refuse("\nCPHashSessionKey Error: Invalid dwFlags", NTE_BAD_FLAGS);
  }
  return frame.WithHash(hProv, hKey, [&](CCSPContext& context, const boost::shared_ptr<CCSPHash>& hash) {
    const auto key = context.GetSecretKey(static_cast<DWORD>(hKey));
    if (hash->IsFinished() != 0) {
      return frame.Refuse("\nCPHashSessionKey Error: Hash already in finished state", NTE_BAD_HASH_STATE);
    }
    KeyValue value = LoginAndReadValue(context, *key);
    if (dwFlags == CRYPT_LITTLE_ENDIAN) ReverseBytes(value.bytes.Data(), value.length);
    hash->SetData(value.bytes.Data(), value.length);
    hash->Finish();
    return frame.Succeed();
  });
}
