#include "dialogs/LoginDialog.h"

#include "cryptoki/LoginLock.h"
#include "resources/DialogIds.h"
#include "ui/DialogHost.h"

LoginDialog::LoginDialog(int statusControl) : m_edit(IDC_PIN_EDIT), m_status(statusControl) {}

INT_PTR LoginDialog::DoModal() { return GetDialogHost().Run(*this); }

void LoginDialog::BeforeInput(DialogView& view, int /*control*/, UINT message, WPARAM key) {
  m_edit.BeforeInput(view, message, key);
}

void LoginDialog::AfterInput(DialogView& view, int /*control*/, UINT message, WPARAM /*key*/) {
  m_edit.AfterInput(view, message);
}

void LoginDialog::ShowTitle(DialogView& view) const {
  if (!m_tokenLabel.empty()) view.SetTitle("Enter PIN for " + m_tokenLabel);
}

bool LoginDialog::HasPIN(DialogView& view) const {
  if (view.GetTextLength(m_edit.GetControl()) != 0) return true;
  m_status.ShowText(view, IDS_PLEASE_ENTER_PIN);
  view.Focus(m_edit.GetControl());
  return false;
}

void LoginDialog::LogSessionIn(BYTE* pin, DWORD length) const {
  const LoginLock lock;
  m_session->Login(CKU_USER, pin, length);
}
