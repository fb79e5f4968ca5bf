// DialogHost: shows a dialog and drives its controller until the dialog ends. One host serves the process: real windows
// on Windows; none in the host build, where every run ends at once with -1, as on a system without a display. Tests put
// a scripted host in its place.
#pragma once

#include "common/Platform.h"

#include "ui/DialogController.h"

class DialogHost {
 public:
  DialogHost() = default;
  virtual ~DialogHost() = default;
  DialogHost(const DialogHost&) = delete;
  DialogHost& operator=(const DialogHost&) = delete;

  // Runs the dialog modally on the calling thread, without a parent, and returns its result; -1 when no window could be
  // made. What the controller throws comes out of here.
  virtual INT_PTR Run(DialogController& controller) = 0;
  // The same on top of a dialog that this host runs, which takes no input meanwhile.
  virtual INT_PTR RunOver(DialogView& /*owner*/, DialogController& controller) { return Run(controller); }
};

// The host of the process.
DialogHost& GetDialogHost();
// Puts another host in its place, null the system's own. The caller keeps the ownership. Returns the one before, null
// for the system's own. Not to be called while a dialog runs.
DialogHost* SetDialogHost(DialogHost* host);
