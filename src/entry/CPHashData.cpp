// CPHashData: adds bytes to a hash.
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
  return frame.WithHash(hProv, hHash, [&](CCSPContext& /*context*/, const boost::shared_ptr<CCSPHash>& hash) {
    if (hash->IsFinished() != 0) return frame.Refuse("\nCPHashData Error: Invalid Hash State", NTE_BAD_HASH_STATE);
    hash->AddData(pbData, cbDataLen);
    return frame.Succeed();
  });
}
