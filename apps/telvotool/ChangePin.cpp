// change-pin.
#include "telvotool/ChangePin.h"

#include <cstdio>
#include <cstring>

#include "cryptoki/CCryptoWrapper.h"
#include "telvotool/Cards.h"
#include "telvotool/Commands.h"
#include "telvotool/Errors.h"

namespace tool {

namespace {

PinChange ChangePinIn(const std::string& reader) {
  for (Slot& slot : CCryptoWrapper::GetCryptoki()->GetActiveSlots()) {
    if (std::strcmp(reader.c_str(), slot.GetSlotDescription().c_str()) != 0) continue;
    Token& token = slot.GetToken();
    const TokenInfo info = token.GetTokenInfo();
    Session session = token.OpenSession(CKF_RW_SESSION | CKF_SERIAL_SESSION, nullptr, nullptr);
    const PinChange result = ShowChangePinDialog(session, info);
    session.Close();
    return result;
  }
  throw Failure("the card was pulled", kNotThere, "put it in again");
}

}  // namespace

int ChangePin(const Options& options) {
  const std::string reader = OnlyReaderWithCard(options.Value("--reader"));
  std::printf(
      "note: the login dialog takes at most 8 characters; a longer PIN can be set here, "
      "but only be given by --pin-file or --pin-stdin\n");
  static_cast<void>(std::fflush(stdout));  // before the dialog
  switch (ChangePinIn(reader)) {
    case PinChange::kChanged:
      std::printf("changed: the PIN of the card in %s\n", reader.c_str());
      return kDone;
    case PinChange::kCancelled:
      throw Failure("the PIN was not changed", kPinProblem, "the dialog was cancelled");
    case PinChange::kNoWindow:
      break;
  }
  throw Failure("the dialog cannot be shown", kFailed, "start the program where there is a screen");
}

}  // namespace tool
