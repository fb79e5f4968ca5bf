// A system without a window library: no dialog can be shown.
#include "ui/SystemDialogHost.h"

namespace {

class NoDialogs : public DialogHost {
 public:
  INT_PTR Run(DialogController& /*controller*/) override { return -1; }
};

}  // namespace

DialogHost& GetSystemDialogHost() {
  static NoDialogs host;
  return host;
}
