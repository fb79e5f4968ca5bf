// DialogHost: shows a dialog and drives its controller until the dialog ends. One host serves the process. On Windows
// it shows real windows. The host build has none: every run ends at once with -1, as on a system without a display.
// Tests replace it with a scripted host.
#pragma once

#include "common/Platform.h"

#include "ui/DialogController.h"

class DialogHost {
 public:
  DialogHost() = default;
  virtual ~DialogHost() = default;
  DialogHost(const DialogHost&) = delete;
  DialogHost& operator=(const DialogHost&) = delete;

  // Runs the dialog modally on the calling thread, without a parent window, and returns its result; -1 when no window
  // could be made. An exception from the controller leaves this function.
  virtual INT_PTR Run(DialogController& controller) = 0;
  // The same on top of `owner`, a dialog that this host runs. It takes no input meanwhile.
  virtual INT_PTR RunOver(DialogView& /*owner*/, DialogController& controller) { return Run(controller); }
};

// The host of the process.
DialogHost& GetDialogHost();
// Replaces it; null stands for the system's own host. The caller keeps the ownership. Returns the previous host, null
// for the system's own. Not to be called while a dialog runs.
DialogHost* SetDialogHost(DialogHost* host);
