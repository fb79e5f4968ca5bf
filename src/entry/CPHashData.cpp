// CPHashData: a hash is fed with bytes.
#include "context/CCSPContext.h"
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
