// CPSetHashParam: the value that a hash is given.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHash.h"

BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  const EntryFrame frame("CPSetHashParam");
  frame.LogNumber("\tdwParam: \t", dwParam);
  frame.LogNumber("\thHash: \t\t", hHash);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  // Required: the line names CPGetHashParam.
  if (dwFlags != 0) return frame.Refuse("\nCPGetHASHParam Error: Unsupported Flag(s)", NTE_BAD_FLAGS);
  if (dwParam != HP_HASHVAL) {
    return frame.Refuse("\nCPSetHashParam Error: dwFlags is not HASHVVAL", NTE_BAD_TYPE);
  }
  if (pbData == nullptr) return frame.Refuse("\nCPSetHashParam Error: pbData is NULL", ERROR_INVALID_PARAMETER);
  return frame.WithHash(hProv, hHash, [&](CCSPContext& /*context*/, const boost::shared_ptr<CCSPHash>& hash) {
    DWORD length = 0;
    hash->GetData(nullptr, &length);
    if (length != 0) return frame.Refuse("\nCPSetHashParam Error: Hash Value is not NULL", NTE_BAD_HASH);
    length = hash->GetHashLength();
    g_entryLog.WriteHex("\nHash Length ", length, true);
    g_entryLog.WriteBytes("Hash Value ", pbData, length, true);
    hash->SetHash(pbData, length);
    return frame.SucceedWith("\nCPSetHashParam Success:");
  });
}
