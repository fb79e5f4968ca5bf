// CLoginEX: the dialog that asks for the PIN, logs the session in with it, and stays open through wrong tries.
//
// The result is 2 when the user cancelled and 1 after a login. NTE_INTERNAL_ERROR is a PIN of more than 8 characters,
// NTE_FAIL a login that failed in another way than by a wrong PIN; both are results and not exceptions.
#pragma once

#include "common/Platform.h"

#include "dialogs/LoginDialog.h"

class CLoginEX : public LoginDialog {
 public:
  CLoginEX();

  // In characters. The shortest length is kept and read by nothing; of 0 for the longest, the window sets the limit.
  void SetPINLimits(DWORD minimum, DWORD maximum);

  int GetResource() const override;
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;

 protected:
  // Copies the PIN to `out`, which may be null, and its length to `*length`.
  DWORD ReadPIN(const DialogView& view, BYTE* out, DWORD* length) const;
  // Each returns the result for the dialog to act on: 0, SCARD_W_WRONG_CHV, SCARD_W_CHV_BLOCKED, NTE_FAIL.
  DWORD LogIn(DialogView& view, BYTE* pin, DWORD length);
  DWORD OnLoginError(DialogView& view, DWORD code, const BYTE* pin, DWORD length);
  DWORD OnWrongPIN(DialogView& view, DWORD triesLeft);

 private:
  void OnLogin(DialogView& view);
  DWORD Lock(DialogView& view, const char* logLine);
  void StorePIN(const BYTE* pin, DWORD length);

  DWORD m_minimumLength = 0;
  DWORD m_maximumLength = 0;
};
