#include "adapter/IdleWatch.h"

#include <atomic>
#include <thread>

#include "adapter/Adapter.h"
#include "adapter/System.h"
#include "pkcs11/FunctionTable.h"

namespace adapter {
namespace {

using Time = std::chrono::steady_clock::time_point;

std::atomic<bool> g_runs = false;

// Returns when the next login is due. If there is none, the watch is off before another login can be kept.
std::optional<Time> EndIdleLogins() {
  std::optional<Time> next;
  const CK_RV result = pkcs11::FunctionTable<Adapter>::Served([&](Adapter& adapter) -> CK_RV {
    next = adapter.EndIdleLogins();
    if (!next) g_runs = false;
    return CKR_OK;
  });
  if (result != CKR_OK) g_runs = false;
  return result == CKR_OK ? next : std::nullopt;
}

void Watch() {
  while (const auto next = EndIdleLogins()) std::this_thread::sleep_until(*next);
}

}  // namespace

void StartIdleWatch() {
  if (g_runs.exchange(true)) return;
  system::StayLoaded();
  std::thread(Watch).detach();
}

}  // namespace adapter
