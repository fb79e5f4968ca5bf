// CPGetProvParam of PP_USER_CERTSTORE and PP_ROOT_CERTSTORE: a system store that the token's certificates are added to.
// The caller owns the handle. The size of the answer is fixed.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

Outcome WriteUserStore(ProvParamCall& call);
Outcome WriteRootStore(ProvParamCall& call);

}  // namespace provparam
