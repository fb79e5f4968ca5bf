// The dialog that changes a PIN, as this program uses it.
#pragma once

#include <string>

#include "cryptoki/Session.h"
#include "cryptoki/TokenInfo.h"

namespace tool {

enum class PinChange { kChanged, kCancelled, kNoWindow };

// Shows the dialog for the card of `session`, a read-write session. It asks for the old PIN and twice for the new one,
// and changes it. kNoWindow: there is no screen.
PinChange ShowChangePinDialog(Session& session, const TokenInfo& token);

}  // namespace tool
