// CPDestroyHash: the end of a hash.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHashFactory.h"

BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash) {
  const EntryFrame frame("CPDestroyHash");
  frame.LogNumber("\thHash: \t", hHash);
  return frame.WithHash(hProv, hHash, [&](CCSPContext& context, const boost::shared_ptr<CCSPHash>& hash) {
    g_hashFactory.DestroyHash(hash);
    context.RemoveHash(hash);
    return frame.Succeed();
  });
}
