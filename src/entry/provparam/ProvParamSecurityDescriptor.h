// CPGetProvParam of PP_KEYSET_SEC_DESCR: a security descriptor that grants everything to everybody.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

Outcome MeasureDescriptor(Call& call);
Outcome WriteDescriptor(Call& call);

}  // namespace provparam
