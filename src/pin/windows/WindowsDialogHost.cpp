// Real dialogs. To be written.
#include "pin/SystemDialogHost.h"

namespace {

class WindowsDialogHost : public DialogHost {
 public:
  INT_PTR Run(DialogController& /*controller*/) override { return -1; }
};

}  // namespace

DialogHost& GetSystemDialogHost() {
  static WindowsDialogHost host;
  return host;
}
