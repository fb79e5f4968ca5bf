// CCLoginDlg: the larger login dialog, with an on-screen keyboard and a way into CChangePINDlg. For a caller to take
// up: the provider itself logs in through CLoginEX.
//
// A PIN may have any length here. A user who was logged in already leaves no PIN in the cache. The digit keys have no
// labels and send nothing.
//
// The result is 2 when the user cancelled and 1 when the dialog was closed otherwise. A login that fails in another way
// than by a wrong PIN raises CCSPContextError NTE_FAIL, "Log-in Failed".
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

  // The labels for the digit row, from the last to the first. This dialog does not give them to its keys.
  const std::vector<KeyLabels>& GetKeyLabels() const { return m_keyLabels; }

 private:
  void OnClicked(DialogView& view, int control);
  void ApplyReveal(DialogView& view);
  void ApplyChangeAfterLogin(DialogView& view);
  void OnPINChanged(DialogView& view) const;
  void OnChangePIN(DialogView& view) const;
  // Opens the dialog for it, and returns its result. A null `pin` is for the user to type.
  INT_PTR ChangePIN(DialogView& view, const boost::shared_array<BYTE>& pin, DWORD length) const;

  void OnLogin(DialogView& view);
  void LogIn(DialogView& view, BYTE* pin, DWORD length) const;
  void OnLoginError(DialogView& view, DWORD code) const;
  void Lock(DialogView& view) const;

  std::vector<KeyLabels> m_keyLabels;
  OnScreenKeyboard m_keyboard;
  const CSecureEditEx* m_activeEdit = nullptr;
  bool m_changeAfterLogin = false;
};
