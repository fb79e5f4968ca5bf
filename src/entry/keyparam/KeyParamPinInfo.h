// CPGetKeyParam of KP_PIN_INFO: information about the PIN. It is the same for every key.
#pragma once

#include "entry/keyparam/KeyParamCall.h"

namespace keyparam {

Outcome AskPinInfo(const KeyParamCall& call);
Outcome ReadPinInfo(const KeyParamCall& call);

}  // namespace keyparam
