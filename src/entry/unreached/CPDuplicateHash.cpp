// CPDuplicateHash: not exported, so no application reaches it.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHashFactory.h"

// Required: the copy is the hash itself, under the same id.
BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags, HCRYPTHASH* phHash) {
  const EntryFrame frame("CPDuplicateHash");
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  if (pdwReserved != nullptr || dwFlags != 0) {
    return frame.Refuse("\nCPDuplicateHash Error: Reserved is not NULL or dwFlags is not 0", ERROR_INVALID_PARAMETER);
  }
  if (phHash == nullptr) return frame.Refuse("\nCPDuplicateHash Error: pHash is NULL", NTE_BAD_HASH);
  return frame.WithHash(hProv, hHash, [&](CCSPContext& context, const boost::shared_ptr<CCSPHash>& hash) {
    const auto copy = g_hashFactory.DuplicateHash(hash);
    context.AddHash(copy);
    *phHash = copy->GetHashID();
    return frame.Succeed();
  });
}
