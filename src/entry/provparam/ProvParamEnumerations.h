// CPGetProvParam: the enumerations of algorithms and of containers. The context keeps the position of each.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

// PP_ENUMALGS and PP_ENUMALGS_EX, whose sizes are fixed.
Outcome WriteAlgorithm(ProvParamCall& call);
Outcome WriteAlgorithmEx(ProvParamCall& call);
// PP_ENUMCONTAINERS
Outcome MeasureNextContainer(ProvParamCall& call);
Outcome WriteNextContainer(ProvParamCall& call);

}  // namespace provparam
