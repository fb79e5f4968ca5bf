#include "pin/LoginDialog.h"

#include "common/FormatNumber.h"
#include "pin/DialogHost.h"
#include "pin/DialogIds.h"
#include "pin/LoginTurn.h"
#include "resources/LoadText.h"

LoginDialog::LoginDialog(int statusControl) : m_edit(IDC_PIN_EDIT), m_statusControl(statusControl) {}

INT_PTR LoginDialog::DoModal() { return GetDialogHost().Run(*this); }

bool LoginDialog::GetTextColor(int control, COLORREF& color) const {
  if (control != m_statusControl) return false;
  color = RGB(250, 0, 0);
  return true;
}

bool LoginDialog::GetTextFont(int control, DialogFont& font) const {
  if (control != m_statusControl) return false;
  font = {16, 700, "Arial"};
  return true;
}

void LoginDialog::BeforeInput(DialogView& view, int /*control*/, UINT message, WPARAM key) {
  m_edit.BeforeInput(view, message, key);
}

void LoginDialog::AfterInput(DialogView& view, int /*control*/, UINT message, WPARAM /*key*/) {
  m_edit.AfterInput(view, message);
}

void LoginDialog::ShowTitle(DialogView& view) const {
  if (!m_tokenLabel.empty()) view.SetTitle("Enter PIN for " + m_tokenLabel);
}

void LoginDialog::ShowTriesLeft(DialogView& view, DWORD count) const {
  ShowStatus(view, FormatNumber(LoadText(IDS_INCORRECT_PIN).c_str(), count));
}

bool LoginDialog::HasPIN(DialogView& view) const {
  if (view.GetTextLength(m_edit.GetControl()) != 0) return true;
  ShowStatus(view, LoadText(IDS_PLEASE_ENTER_PIN));
  view.Focus(m_edit.GetControl());
  return false;
}

void LoginDialog::LogSessionIn(BYTE* pin, DWORD length) const {
  const LoginTurn turn;
  m_session->Login(CKU_USER, pin, length);
}
