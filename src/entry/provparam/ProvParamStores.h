// CPGetProvParam of PP_USER_CERTSTORE and PP_ROOT_CERTSTORE: a system store that the token's certificates are added to.
// The caller owns the handle. It is handed over after the last log item: when there is no memory for an item, the
// exception closes the store. The size of the answer is fixed.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

Outcome WriteUserStore(ProvParamCall& call);
Outcome WriteRootStore(ProvParamCall& call);
// Writes the handle of the call's store, if it has one, into the caller's buffer. Does not throw.
void HandOverStore(ProvParamCall& call) noexcept;

}  // namespace provparam
