// CLoginEX: the dialog that asks for the PIN, logs the session in with it, and stays open through wrong tries.
//
// The result is 1 after a login and 2 when the user cancelled. It is NTE_INTERNAL_ERROR for a PIN of more than 8 bytes,
// and NTE_FAIL for a login that failed for a reason other than a wrong PIN; neither is raised as an exception.
#pragma once

#include "common/Platform.h"

#include "dialogs/LoginDialog.h"

class CLoginEX : public LoginDialog {
 public:
  CLoginEX();

  // In characters. The edit takes no more than `maximum`; with 0 the window sets the limit. `minimum` has no effect.
  void SetPINLimits(DWORD minimum, DWORD maximum);

  int GetResource() const override;
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;

 protected:
  // ReadPIN of the edit, for a PIN of at most 8 bytes.
  DWORD ReadLoginPIN(const DialogView& view, BYTE* out, DWORD* length) const;
  // Each returns the outcome of the login: 0, SCARD_W_WRONG_CHV, SCARD_W_CHV_BLOCKED or NTE_FAIL.
  DWORD LogIn(DialogView& view, BYTE* pin, DWORD length);
  DWORD OnLoginError(DialogView& view, DWORD code, const BYTE* pin, DWORD length);
  DWORD OnWrongPIN(DialogView& view, DWORD triesLeft);

 private:
  void OnLogin(DialogView& view);
  DWORD Lock(DialogView& view, const char* logLine);
  void StorePIN(const BYTE* pin, DWORD length);

  // Required: the field stays, though nothing reads it: the token itself refuses a PIN that is too short.
  DWORD m_minimumLength = 0;
  DWORD m_maximumLength = 0;
};
