// CChangePINDlg: the dialog in which a user changes the PIN: the current PIN, the new one twice, a bar that rates it,
// and an on-screen keyboard whose digits are in a different order each time. It changes the PIN on the session itself
// and stays open when the token refuses. `telvotool change-pin` opens it; in the provider only CCLoginDlg would.
//
// The result is 1 when the PIN was changed (and also for OK without a session), 2 when the user cancelled. A failure of
// the token is shown in the status line and not raised. The token alone decides how long a PIN may be.
#pragma once

#include "common/Platform.h"

#include <boost/shared_array.hpp>
#include <boost/shared_ptr.hpp>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/Session.h"
#include "dialogs/OnScreenKeyboard.h"
#include "dialogs/PINChangeDialog.h"
#include "dialogs/StatusLine.h"
#include "pin/CTELVOPINCache.h"

class CChangePINDlg : public PINChangeDialog {
 public:
  CChangePINDlg();

  // The session to change the PIN on, not owned. It is logged in with the new PIN afterwards.
  void SetSession(Session* session) { m_session = session; }
  // Gets the new PIN; may be empty.
  void AttachPINCache(const boost::shared_ptr<CTELVOPINCache>& cache) { m_cache = cache; }
  // The current PIN, `length` bytes without a terminator, when the caller has just logged in with it: the user is not
  // asked for it then. Null or empty: the user is asked. The last holder wipes it.
  void HandOverPIN(const boost::shared_array<BYTE>& pin, DWORD length);

  // Like DoModal, but on top of a dialog that is already shown.
  INT_PTR DoModalOver(DialogView& owner);

  int GetResource() const override;
  bool HasProgressBar() const override { return true; }
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;
  bool GetTextColor(int control, COLORREF& color) const override { return m_status.GetTextColor(control, color); }
  bool GetTextFont(int control, DialogFont& font) const override { return m_status.GetTextFont(control, font); }

 private:
  using PlainText = CSecureEditEx::PlainText;

  bool IsPINHandedOver() const { return m_pin && m_pinLength != 0; }
  void ShowHandedOverPIN(DialogView& view);
  void ApplyReveal(DialogView& view);
  void Activate(DialogView& view, CSecureEditEx& edit);

  void OnEdit(DialogView& view, CSecureEditEx& edit, UINT notification);
  void OnClicked(DialogView& view, int control);
  void OnClear(DialogView& view);
  void OnNewPINChanged(DialogView& view) const;
  void OnRepeatedPINChanged(DialogView& view) const;
  void Complain(DialogView& view, UINT text, const CSecureEditEx& edit) const;

  void OnOK(DialogView& view) const;
  // Changes the PIN on the session and logs in with the new one. CryptokiError when the token refuses either.
  void ChangeAndLogIn(const char* currentPIN, const char* newPIN) const;
  void OnFailure(DialogView& view, const CryptokiError& error) const;
  void OnWrongPIN(DialogView& view) const;
  void Lock(DialogView& view) const;

  StatusLine m_status;
  OnScreenKeyboard m_keyboard;
  CSecureEditEx* m_activeEdit = nullptr;  // the one that the keyboard types into
  Session* m_session = nullptr;
  boost::shared_ptr<CTELVOPINCache> m_cache;
  boost::shared_array<BYTE> m_pin;
  DWORD m_pinLength = 0;
};
