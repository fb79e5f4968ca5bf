// The one place that knows the dialog. This build has none: the command says so.
#include "telvotool/ChangePin.h"

namespace tool {

PinChange ShowChangePinDialog(Session&, const TokenInfo&) { return PinChange::kNoDialog; }

}  // namespace tool
