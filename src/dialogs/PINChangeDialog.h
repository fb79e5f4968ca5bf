// PINChangeDialog: the common part of the dialogs that ask for the current PIN and, twice, for a new one.
#pragma once

#include "common/Platform.h"

#include <string>

#include "dialogs/CSecureEditEx.h"
#include "ui/DialogController.h"

class PINChangeDialog : public DialogController {
 public:
  // Shown in the title, unless it is empty.
  void SetTokenLabel(const std::string& label) { m_tokenLabel = label; }

  // Shows the dialog and returns its result: 2 when the user cancelled, -1 when no window could be made. An exception
  // from an event leaves this function.
  INT_PTR DoModal();

  bool WatchesInput(int control) const override { return FindEdit(control) != nullptr; }
  void BeforeInput(DialogView& view, int control, UINT message, WPARAM key) override;
  void AfterInput(DialogView& view, int control, UINT message, WPARAM key) override;

 protected:
  // The controls of the three edits.
  PINChangeDialog(int currentPIN, int newPIN, int repeatedPIN);

  // Forgets what was entered in an earlier run, and shows `words` and the label as title, unless the label is empty.
  void Open(DialogView& view, const std::string& words);
  // Null for another control.
  const CSecureEditEx* FindEdit(int control) const;
  CSecureEditEx* FindEdit(int control);

  CSecureEditEx m_currentPIN;
  CSecureEditEx m_newPIN;
  CSecureEditEx m_repeatedPIN;

 private:
  std::string m_tokenLabel;
};
