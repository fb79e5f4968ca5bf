// DialogController: the logic of one dialog, without a window. A DialogHost shows the dialog and reports what the user
// does.
//
// Events arrive on the thread that runs the dialog. An exception from an event ends the dialog and leaves
// DialogHost::Run.
#pragma once

#include "common/Platform.h"

#include "ui/DialogView.h"

class DialogController {
 public:
  DialogController() = default;
  virtual ~DialogController() = default;
  DialogController(const DialogController&) = delete;
  DialogController& operator=(const DialogController&) = delete;

  // The dialog template, and whether it has a progress bar.
  virtual int GetResource() const = 0;
  virtual bool HasProgressBar() const { return false; }

  // The window and its controls exist, but are not shown yet.
  virtual void OnOpen(DialogView& view) = 0;
  // A control's notification: BN_CLICKED, EN_UPDATE (text changed, not painted yet), EN_CHANGE (text changed),
  // EN_SETFOCUS (an edit has got the focus). Cancel, the Escape key and the system menu's Close arrive as BN_CLICKED of
  // IDCANCEL.
  virtual void OnCommand(DialogView& view, int control, UINT notification) = 0;

  // Colour and font of a control's text. Asked when the control is drawn, or earlier, once the dialog has opened. False
  // means the system's own.
  virtual bool GetTextColor(int /*control*/, COLORREF& /*color*/) const { return false; }
  virtual bool GetTextFont(int /*control*/, DialogFont& /*font*/) const { return false; }

  // Key and mouse messages of the edit controls that the dialog watches, before and after their default handling.
  virtual bool WatchesInput(int /*control*/) const { return false; }
  virtual void BeforeInput(DialogView& /*view*/, int /*control*/, UINT /*message*/, WPARAM /*key*/) {}
  virtual void AfterInput(DialogView& /*view*/, int /*control*/, UINT /*message*/, WPARAM /*key*/) {}
};
