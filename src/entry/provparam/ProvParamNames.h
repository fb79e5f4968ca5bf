// CPGetProvParam: the names of the provider, the container and the reader, and the serial number of the card.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

// PP_NAME
Outcome MeasureName(ProvParamCall& call);
Outcome WriteName(ProvParamCall& call);
// PP_CONTAINER and PP_UNIQUE_CONTAINER
Outcome MeasureContainer(ProvParamCall& call);
Outcome WriteContainer(ProvParamCall& call);
// PP_SMARTCARD_READER
Outcome MeasureReader(ProvParamCall& call);
Outcome WriteReader(ProvParamCall& call);
// PP_SMARTCARD_GUID, whose size is fixed. A CryptokiError of the token leaves the function.
Outcome WriteCardSerial(ProvParamCall& call);

}  // namespace provparam
