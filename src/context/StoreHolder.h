// StoreHolder: owns a certificate store of the platform, and closes it at its end. May hold none.
#pragma once

#include "common/Platform.h"

#include <memory>

struct CloseStore {
  void operator()(void* store) const { CertCloseStore(store, 0); }
};
using StoreHolder = std::unique_ptr<void, CloseStore>;
