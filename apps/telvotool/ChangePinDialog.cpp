// The only source of this program that includes the dialog.
#include "dialogs/ChangePIN.h"
#include "telvotool/ChangePin.h"
#include "telvotool/Text.h"

namespace tool {

PinChange ShowChangePinDialog(Session& session, const TokenInfo& token) {
  switch (ChangePIN(&session, {}, WithoutTrailingSpaces(token.GetLabel()))) {
    case IDOK:
      return PinChange::kChanged;
    case IDCANCEL:
      return PinChange::kCancelled;
    default:
      return PinChange::kNoWindow;
  }
}

}  // namespace tool
