// Real dialogs, built from the library's resources.
#include "ui/SystemDialogHost.h"
#include "ui/windows/DialogWindow.h"

namespace {

class WindowsDialogHost : public DialogHost {
 public:
  INT_PTR Run(DialogController& controller) override { return DialogWindow(controller).RunWindow(nullptr); }
  INT_PTR RunOver(DialogView& owner, DialogController& controller) override {
    return DialogWindow(controller).RunWindow(static_cast<DialogWindow*>(&owner));
  }
};

}  // namespace

DialogHost& GetSystemDialogHost() {
  static WindowsDialogHost host;
  return host;
}
