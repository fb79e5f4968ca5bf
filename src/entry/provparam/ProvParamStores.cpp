#include "entry/provparam/ProvParamStores.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <exception>

namespace provparam {

namespace {

// The store that was opened last for each of the two parameters. The provider has to keep them, although nothing reads
// them. Required: nothing closes them either, because the handles belong to the callers.
std::atomic<HCERTSTORE> g_userStore{nullptr};
std::atomic<HCERTSTORE> g_rootStore{nullptr};

// Closes a store when an exception leaves before the caller has its handle.
class StoreUntilWritten {
 public:
  explicit StoreUntilWritten(HCERTSTORE store) : m_store(store) {}
  ~StoreUntilWritten() {
    if (m_store != nullptr && std::uncaught_exceptions() > m_exceptions) CertCloseStore(m_store, 0);
  }
  StoreUntilWritten(const StoreUntilWritten&) = delete;
  StoreUntilWritten& operator=(const StoreUntilWritten&) = delete;

 private:
  const HCERTSTORE m_store;
  const int m_exceptions = std::uncaught_exceptions();
};

void WriteStoreHandle(ProvParamCall& call, HCERTSTORE store) {
  const auto handle = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(store));
  std::memcpy(call.data, &handle, sizeof(handle));
  *call.length = sizeof(handle);
}

}  // namespace

// Required: a store that does not open is a null handle and no failure.
Outcome WriteUserStore(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting User Cert Store Handle");
  auto* const store = CertOpenSystemStoreA(0, "MY");
  g_userStore = store;
  const StoreUntilWritten guard(store);
  if (store == nullptr) {
    const DWORD code = GetLastError();
    g_entryLog.WriteLine("\nCPGetProvParam Error: Requesting Cert User Store Handle Failed to Open Cert");
    SetLastError(code);
  } else if (call.context.AddCertificatesToStore(store, 0, 0) != 0) {
    g_entryLog.WriteLine("\nCPGetProvParam: Requesting User Cert Store Handle: Success");
  } else {
    g_entryLog.WriteLine("\nCPGetProvParam: Failed to propagate certificate");
  }
  WriteStoreHandle(call, store);
  return kGoOn;
}

Outcome WriteRootStore(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting Root Cert Store Handle");
  auto* const store = CertOpenSystemStoreA(0, "ROOT");
  g_rootStore = store;
  const StoreUntilWritten guard(store);
  if (store == nullptr) {
    return call.frame.Refuse("\nCPGetProvParam Error: Requesting Cert Root Store Handle Failed to Open Cert",
                             GetLastError());
  }
  if (call.context.AddCertificatesToStore(store, 1, 0) == 0) {
    g_entryLog.WriteLine("\nCPGetProvParam: Failed to propagate certificate");
    return FALSE;  // the last error stays as it is
  }
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting Root Cert Store Handle: Success");
  WriteStoreHandle(call, store);
  return kGoOn;
}

}  // namespace provparam
