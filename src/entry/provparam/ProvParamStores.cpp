#include "entry/provparam/ProvParamStores.h"

#include <atomic>
#include <cstdint>
#include <cstring>

namespace provparam {

namespace {

// The store that was opened last for each of the two parameters. The provider has to keep them, although nothing reads
// them. Required: nothing closes them either, because the handles belong to the callers.
std::atomic<HCERTSTORE> g_userStore{nullptr};
std::atomic<HCERTSTORE> g_rootStore{nullptr};

// The log shows the handle before the caller has it.
void ShowStoreHandle(ProvParamCall& call) {
  const auto handle = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(call.store.get()));
  std::memcpy(call.ownBytes.data(), &handle, sizeof(handle));
  call.answer = call.ownBytes.data();
  *call.length = sizeof(handle);
}

}  // namespace

// Required: a store that does not open is a null handle, and not a failure.
Outcome WriteUserStore(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting User Cert Store Handle");
  auto* const store = CertOpenSystemStoreA(0, "MY");
  g_userStore = store;
  call.store.reset(store);
  if (store == nullptr) {
    const DWORD code = GetLastError();
    g_entryLog.WriteLine("\nCPGetProvParam Error: Requesting Cert User Store Handle Failed to Open Cert");
    SetLastError(code);
  } else if (call.context.AddCertificatesToStore(store, 0, 0) != 0) {
    g_entryLog.WriteLine("\nCPGetProvParam: Requesting User Cert Store Handle: Success");
  } else {
    g_entryLog.WriteLine("\nCPGetProvParam: Failed to propagate certificate");
  }
  ShowStoreHandle(call);
  return kGoOn;
}

Outcome WriteRootStore(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting Root Cert Store Handle");
  auto* const store = CertOpenSystemStoreA(0, "ROOT");
  g_rootStore = store;
  call.store.reset(store);
  if (store == nullptr) {
    return call.frame.Refuse("\nCPGetProvParam Error: Requesting Cert Root Store Handle Failed to Open Cert",
                             GetLastError());
  }
  if (call.context.AddCertificatesToStore(store, 1, 0) == 0) {
    g_entryLog.WriteLine("\nCPGetProvParam: Failed to propagate certificate");
    static_cast<void>(call.store.release());  // Required: it stays open, although the caller does not get it
    return FALSE;                             // the last error stays as it is
  }
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting Root Cert Store Handle: Success");
  ShowStoreHandle(call);
  return kGoOn;
}

void HandOverStore(ProvParamCall& call) noexcept {
  if (call.store == nullptr) return;
  std::memcpy(call.data, call.ownBytes.data(), call.ownBytes.size());
  static_cast<void>(call.store.release());
}

}  // namespace provparam
