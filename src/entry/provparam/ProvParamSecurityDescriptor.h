// CPGetProvParam of PP_KEYSET_SEC_DESCR: a security descriptor that grants everything to everybody.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

Outcome MeasureDescriptor(ProvParamCall& call);
Outcome WriteDescriptor(ProvParamCall& call);

}  // namespace provparam
