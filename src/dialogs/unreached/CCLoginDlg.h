// CCLoginDlg: the larger login dialog, with an on-screen keyboard and a button that opens CChangePINDlg.
//
// Unreached: built and tested because the product must have it, though nothing in the provider uses it.
// The provider logs in through CLoginEX.
//
// A PIN may have any length here. A user who was logged in already leaves no PIN in the cache. The digit keys have no
// labels and send nothing.
//
// The result is 2 when the user cancelled and 1 when the dialog was closed otherwise. A login that fails for a reason
// other than a wrong PIN raises CCSPContextError NTE_FAIL, "Log-in Failed".
#pragma once

#include "common/Platform.h"

#include <boost/shared_array.hpp>
#include <vector>

#include "dialogs/CVirtualNumBtn.h"
#include "dialogs/LoginDialog.h"
#include "dialogs/OnScreenKeyboard.h"

class CCLoginDlg : public LoginDialog {
 public:
  CCLoginDlg();

  int GetResource() const override;
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;

  // The labels for the digit row, from the last to the first. The dialog does not show them on its keys.
  const std::vector<KeyLabels>& GetKeyLabels() const { return m_keyLabels; }

 private:
  void OnClicked(DialogView& view, int control);
  void ApplyReveal(DialogView& view);
  void ApplyChangeAfterLogin(DialogView& view);
  void OnPINChanged(DialogView& view) const;
  void OnChangeClicked(DialogView& view) const;
  // Opens CChangePINDlg on top of this dialog and returns its result. With a null `pin` it asks for the current PIN.
  INT_PTR ShowChangeDialog(DialogView& view, const boost::shared_array<BYTE>& pin, DWORD length) const;

  void OnLogin(DialogView& view);
  void LogIn(DialogView& view, BYTE* pin, DWORD length) const;
  void OnLoginError(DialogView& view, DWORD code) const;
  void Lock(DialogView& view) const;

  std::vector<KeyLabels> m_keyLabels;
  OnScreenKeyboard m_keyboard;
  const CSecureEditEx* m_activeEdit = nullptr;
  bool m_changeAfterLogin = false;
};
