// CPGetProvParam: the names of the provider, the container and the reader, and the serial number of the card.
#pragma once

#include "entry/provparam/ProvParamCall.h"

namespace provparam {

// PP_NAME
Outcome MeasureName(Call& call);
Outcome WriteName(Call& call);
// PP_CONTAINER and PP_UNIQUE_CONTAINER
Outcome MeasureContainer(Call& call);
Outcome WriteContainer(Call& call);
// PP_SMARTCARD_READER
Outcome MeasureReader(Call& call);
Outcome WriteReader(Call& call);
// PP_SMARTCARD_GUID, whose size is fixed. A CryptokiError of the token leaves the function.
Outcome WriteCardSerial(Call& call);

}  // namespace provparam
