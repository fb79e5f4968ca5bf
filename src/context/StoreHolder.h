// StoreHolder: owns a certificate store of the platform, and closes it when destroyed. May be empty.
#pragma once

#include "common/Platform.h"

#include <memory>

struct CloseStore {
  void operator()(void* store) const { CertCloseStore(store, 0); }
};
using StoreHolder = std::unique_ptr<void, CloseStore>;
