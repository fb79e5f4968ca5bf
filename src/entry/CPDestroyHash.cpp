// CPDestroyHash: the end of a hash.
#include "context/CCSPContext.h"
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHashFactory.h"

BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash) {
  const EntryFrame frame("CPDestroyHash");
  frame.LogNumber("\thHash: \t", hHash);
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    const auto hash = context->GetHash(static_cast<DWORD>(hHash));
    g_hashFactory.DestroyHash(hash);
    context->RemoveHash(hash);
    return frame.Succeed();
  });
}
