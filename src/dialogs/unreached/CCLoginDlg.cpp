#include "dialogs/unreached/CCLoginDlg.h"

#include <cstring>
#include <new>

#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"
#include "dialogs/CChangePINDlg.h"
#include "resources/DialogIds.h"

namespace {

// Required: a result code of the login from 1 to this one is the number of tries left. In CLoginEX it is one less.
constexpr DWORD kMostTries = 15;

}  // namespace

CCLoginDlg::CCLoginDlg() : LoginDialog(IDC_KEYBOARD_STATUS) {}

int CCLoginDlg::GetResource() const { return IDD_LOGIN_KEYBOARD; }

void CCLoginDlg::OnOpen(DialogView& view) {
  m_edit.OnOpen();
  for (const int control : {IDC_SHOW_KEYBOARD, IDC_REVEAL_PIN}) {
    view.Enable(control, false);
    view.Show(control, false);
  }
  ShowTitle(view);
  m_keyLabels = DigitKeyLabels();
  m_activeEdit = &m_edit;
  OnScreenKeyboard::AdjustHeight(view, IDC_SHOW_KEYBOARD);
  ApplyChangeAfterLogin(view);
  ApplyReveal(view);
  view.Enable(IDC_LOGIN, false);
}

void CCLoginDlg::OnCommand(DialogView& view, int control, UINT notification) {
  if (control == IDC_PIN_EDIT && notification == EN_UPDATE) {
    m_edit.OnUpdate(view);
  } else if (control == IDC_PIN_EDIT && notification == EN_CHANGE) {
    OnPINChanged(view);
  } else if (notification == BN_CLICKED) {
    OnClicked(view, control);
  }
}

void CCLoginDlg::OnClicked(DialogView& view, int control) {
  switch (control) {
    case IDC_LOGIN:
      return OnLogin(view);
    case IDC_SHOW_KEYBOARD:
      OnScreenKeyboard::AdjustHeight(view, IDC_SHOW_KEYBOARD);
      return view.Focus(m_activeEdit->GetControl());
    case IDC_REVEAL_PIN:
      return ApplyReveal(view);
    case IDC_CHANGE_AFTER_LOGIN:
      return ApplyChangeAfterLogin(view);
    case IDC_CHANGE_PIN:
      return OnChangeClicked(view);
    case IDC_KEYBOARD_CANCEL:
    case IDCANCEL:
      return view.End(IDCANCEL);
    default:
      return m_keyboard.Press(view, control, m_activeEdit->GetControl());
  }
}

void CCLoginDlg::ApplyReveal(DialogView& view) {
  const CSecureEditEx::PlainText text = m_edit.GetPlainText(view);
  m_edit.SetSecureMode(view.IsChecked(IDC_REVEAL_PIN) ? 0 : 1);
  m_edit.SetPlainText(view, text.get());
  const std::size_t end = view.GetTextLength(IDC_PIN_EDIT);
  view.Select(IDC_PIN_EDIT, {end, end});
}

void CCLoginDlg::ApplyChangeAfterLogin(DialogView& view) {
  m_changeAfterLogin = view.IsChecked(IDC_CHANGE_AFTER_LOGIN);
  view.Enable(IDC_CHANGE_PIN, !m_changeAfterLogin);
}

void CCLoginDlg::OnPINChanged(DialogView& view) const {
  const CSecureEditEx::PlainText text = m_edit.GetPlainText(view);
  view.Enable(IDC_LOGIN, text && text[0] != '\0');
}

void CCLoginDlg::OnChangeClicked(DialogView& view) const {
  if (ShowChangeDialog(view, {}, 0) == IDOK) view.End(IDOK);
}

INT_PTR CCLoginDlg::ShowChangeDialog(DialogView& view, const boost::shared_array<BYTE>& pin, DWORD length) const {
  CChangePINDlg dialog;
  dialog.SetSession(m_session);
  dialog.AttachPINCache(m_cache);
  dialog.SetTokenLabel(m_tokenLabel);
  dialog.HandOverPIN(pin, length);
  return dialog.DoModalOver(view);
}

void CCLoginDlg::OnLogin(DialogView& view) {
  if (!HasPIN(view) || m_session == nullptr) return;
  CSecureEditEx::PlainText text = m_edit.GetPlainText(view);
  if (!text) throw std::bad_alloc();
  const std::size_t length = std::strlen(text.get());
  const auto pinLength = static_cast<DWORD>(length);
  const boost::shared_array<BYTE> pin(new BYTE[length], [length](BYTE* bytes) {
    WipeMemory(bytes, length);
    delete[] bytes;
  });
  std::memcpy(pin.get(), text.get(), length);
  text.reset();
  try {
    LogIn(view, pin.get(), pinLength);
  } catch (const CryptokiError& error) {
    return OnLoginError(view, error.GetCode());
  }
  // Outside the handler: a failure here is not a failure of the login.
  if (m_changeAfterLogin) ShowChangeDialog(view, pin, pinLength);
  view.End(IDOK);
}

void CCLoginDlg::LogIn(DialogView& view, BYTE* pin, DWORD length) const {
  LogSessionIn(pin, length);
  m_status.Clear(view);
  if (m_cache) m_cache->SetPINCache(pin, length);
}

void CCLoginDlg::OnLoginError(DialogView& view, DWORD code) const {
  if (code > 0 && code <= kMostTries) return m_status.ShowText(view, IDS_INCORRECT_PIN, code);
  if (code == CKR_PIN_LOCKED) return Lock(view);
  if (code == CKR_USER_ALREADY_LOGGED_IN) {
    m_status.Clear(view);
    return view.End(IDOK);
  }
  view.End(IDOK);
  throw CCSPContextError("Log-in Failed", NTE_FAIL);
}

void CCLoginDlg::Lock(DialogView& view) const {
  m_status.ShowText(view, IDS_PIN_LOCKED);
  for (const int control : {IDC_REVEAL_PIN, IDC_CHANGE_AFTER_LOGIN, IDC_PIN_EDIT, IDC_CHANGE_PIN, IDC_LOGIN}) {
    view.Enable(control, false);
  }
}
