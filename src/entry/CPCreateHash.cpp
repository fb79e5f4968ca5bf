// CPCreateHash: a new hash.
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHashFactory.h"

// `hKey` is not read: there are no keyed hashes.
BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY /*hKey*/, DWORD dwFlags, HCRYPTHASH* phHash) {
  const EntryFrame frame("CPCreateHash");
  frame.LogNumber("\tALGID: \t", Algid);
  frame.LogNumber("\tdwFlags: ", dwFlags);
  if (dwFlags != 0) return frame.Refuse("\nCPCreateHash Error: Invalid flags specified.", NTE_BAD_FLAGS);
  if (phHash == nullptr) return frame.RefuseNull("phHash");
  g_entryLog.WriteLine("Retrieving context.");
  return frame.WithContext(hProv, [&](CCSPContext& context) {
    g_entryLog.WriteLine("Retrieving session.");
    Session* const session = context.GetSession();
    g_entryLog.WriteLine("Get hash instance");
    const auto hash = g_hashFactory.CreateHash(Algid, session);
    g_entryLog.WriteLine("Get hash ID.");
    *phHash = hash->GetHashID();
    g_entryLog.WriteLine("Add hash.");
    context.AddHash(hash);
    frame.LogNumber("\thHash: \t", *phHash);
    g_entryLog.WriteLine("\nRequesting for Hash: ");
    g_entryLog.WriteLine(hash->GetName()->c_str());
    return frame.Succeed();
  });
}
