#include "pkcs11/NativeTable.h"

#include "adapter/Adapter.h"
#include "adapter/IdleWatch.h"
#include "pkcs11/FunctionTable.h"

namespace adapter {

std::unique_ptr<Adapter> Adapter::Make() {
  Settings settings = LoadSettings();
  auto module = std::make_unique<Module>(settings);
  auto made = std::make_unique<Adapter>(std::move(module), std::move(settings), std::chrono::steady_clock::now);
  made->WatchIdle(StartIdleWatch);
  return made;
}

}  // namespace adapter

ExtendedFunctionList& pkcs11::NativeTable() { return FunctionTable<adapter::Adapter>::Get(); }
