// LoginDialog: the common part of the dialogs that log in with a PIN: what their caller hands over, the PIN's edit and
// the status line.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <string>

#include "cryptoki/Session.h"
#include "dialogs/CSecureEditEx.h"
#include "dialogs/StatusLine.h"
#include "pin/CTELVOPINCache.h"
#include "ui/DialogController.h"

class LoginDialog : public DialogController {
 public:
  // The session to log in, not owned. Without one the Login button does nothing.
  void SetSession(Session* session) { m_session = session; }
  // Shown in the title, unless it is empty.
  void SetTokenLabel(const std::string& label) { m_tokenLabel = label; }
  // Has no effect.
  void SetTokenFlags(DWORD flags) { m_tokenFlags = flags; }
  // Gets the PIN that logged in; may be empty.
  void AttachPINCache(const boost::shared_ptr<CTELVOPINCache>& cache) { m_cache = cache; }

  // Shows the dialog and returns its result: 1 after a login, 2 when the user cancelled, -1 when no window could be
  // made. An exception from an event leaves this function.
  INT_PTR DoModal();

  bool GetTextColor(int control, COLORREF& color) const override { return m_status.GetTextColor(control, color); }
  bool GetTextFont(int control, DialogFont& font) const override { return m_status.GetTextFont(control, font); }
  bool WatchesInput(int control) const override { return control == m_edit.GetControl(); }
  void BeforeInput(DialogView& view, int control, UINT message, WPARAM key) override;
  void AfterInput(DialogView& view, int control, UINT message, WPARAM key) override;

 protected:
  explicit LoginDialog(int statusControl);

  void ShowTitle(DialogView& view) const;
  // Whether the edit holds a PIN. If not, the status line asks the user for one.
  bool HasPIN(DialogView& view) const;
  // One login of the session, under the login lock.
  void LogSessionIn(BYTE* pin, DWORD length) const;

  CSecureEditEx m_edit;
  StatusLine m_status;
  boost::shared_ptr<CTELVOPINCache> m_cache;
  Session* m_session = nullptr;
  std::string m_tokenLabel;
  // Required: the field stays, though nothing reads it: the login's result shows what the flags would show about the
  // PIN.
  DWORD m_tokenFlags = 0;
};
