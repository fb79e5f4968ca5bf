#include "pin/CCLoginDlg.h"

#include <cstring>
#include <new>

#include "cryptoki/CryptokiError.h"
#include "entry/CCSPContextError.h"
#include "pin/DialogIds.h"
#include "resources/LoadText.h"

namespace {

constexpr int kKeyboardHeight = 200;
// The highest result of a login that is read as a number of tries. Required: one more than in CLoginEX.
constexpr DWORD kMostTries = 15;

// Keys with ids in a row that send characters, without and with Shift. Of letters, Caps reverses what Shift does.
struct KeyRow {
  const char* plain;
  const char* shifted;
  int first;
  bool letters;
};
// One row, one line.
// clang-format off
constexpr KeyRow kKeyRows[] = {
    {"`", "~", IDC_KEY_BACKQUOTE, false},
    {"-=", "_+", IDC_KEY_MINUS, false},
    {"\b", "\b", IDC_KEY_BACKSPACE, false},
    {"qwertyuiop", "QWERTYUIOP", IDC_KEY_Q, true},
    {"[]\\", "{}|", IDC_KEY_LEFT_BRACKET, false},
    {"asdfghjkl", "ASDFGHJKL", IDC_KEY_A, true},
    {";'", ":\"", IDC_KEY_SEMICOLON, false},
    {"zxcvbnm", "ZXCVBNM", IDC_KEY_Z, true},
    {",./", "<>?", IDC_KEY_COMMA, false},
    {" ", " ", IDC_KEY_SPACE, false},
};
// clang-format on

// Keys that move or delete.
struct EditingKey {
  int control;
  WPARAM virtualKey;
};
constexpr EditingKey kEditingKeys[] = {
    {IDC_KEY_DELETE, VK_DELETE},
    {IDC_KEY_HOME, VK_HOME},
    {IDC_KEY_END, VK_END},
};

void SendCharacter(DialogView& view, int edit, char character) {
  view.SendKey(edit, WM_CHAR, static_cast<unsigned char>(character));
}

}  // namespace

CCLoginDlg::CCLoginDlg()
    : LoginDialog(IDC_KEYBOARD_STATUS),
      m_digitKeys{{CVirtualNumBtn(IDC_KEY_DIGIT_0), CVirtualNumBtn(IDC_KEY_DIGIT_1),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 1), CVirtualNumBtn(IDC_KEY_DIGIT_1 + 2),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 3), CVirtualNumBtn(IDC_KEY_DIGIT_1 + 4),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 5), CVirtualNumBtn(IDC_KEY_DIGIT_1 + 6),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 7), CVirtualNumBtn(IDC_KEY_DIGIT_9)}} {}

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
  AdjustHeight(view);
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
      AdjustHeight(view);
      return view.Focus(m_activeEdit->GetControl());
    case IDC_REVEAL_PIN:
      return ApplyReveal(view);
    case IDC_CHANGE_AFTER_LOGIN:
      return ApplyChangeAfterLogin(view);
    case IDC_CHANGE_PIN:
      return OnChangePIN(view);
    case IDC_KEYBOARD_CANCEL:
    case IDCANCEL:
      return view.End(IDCANCEL);
    default:
      return PressKey(view, control);
  }
}

void CCLoginDlg::AdjustHeight(DialogView& view) const {
  view.GrowBy(view.IsChecked(IDC_SHOW_KEYBOARD) ? kKeyboardHeight : -kKeyboardHeight);
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

void CCLoginDlg::OnChangePIN(DialogView& view) const {
  if (m_change != nullptr && m_change->Run(MakeRequest()) == IDOK) view.End(IDOK);
}

PINChangeRequest CCLoginDlg::MakeRequest() const {
  PINChangeRequest request;
  request.session = m_session;
  request.cache = m_cache;
  request.tokenLabel = m_tokenLabel;
  return request;
}

void CCLoginDlg::PressKey(DialogView& view, int control) const {
  const int edit = m_activeEdit->GetControl();
  const bool shift = view.IsChecked(IDC_KEY_SHIFT);
  const bool capitals = shift != view.IsChecked(IDC_KEY_CAPS);
  for (const KeyRow& row : kKeyRows) {
    const int index = control - row.first;
    if (index < 0 || index >= static_cast<int>(std::strlen(row.plain))) continue;
    return SendCharacter(view, edit, ((row.letters ? capitals : shift) ? row.shifted : row.plain)[index]);
  }
  for (const CVirtualNumBtn& key : m_digitKeys) {
    if (key.GetControl() != control) continue;
    const char character = shift ? key.GetUpper() : key.GetLower();
    // A key without labels has no character.
    if (character != '\0') SendCharacter(view, edit, character);
    return;
  }
  for (const EditingKey& key : kEditingKeys) {
    if (key.control == control) return view.SendKey(edit, WM_KEYDOWN, key.virtualKey);
  }
}

void CCLoginDlg::OnLogin(DialogView& view) {
  if (!HasPIN(view) || m_session == nullptr) return;
  CSecureEditEx::PlainText text = m_edit.GetPlainText(view);
  if (!text) throw std::bad_alloc();
  const std::size_t length = std::strlen(text.get());
  const boost::shared_array<BYTE> pin(new BYTE[length], [length](BYTE* bytes) {
    WipeMemory(bytes, length);
    delete[] bytes;
  });
  std::memcpy(pin.get(), text.get(), length);
  text.reset();
  PINChangeRequest change = MakeRequest();
  change.pin = pin;
  change.pinLength = static_cast<DWORD>(length);
  try {
    LogIn(view, pin.get(), change.pinLength);
  } catch (const CryptokiError& error) {
    return OnLoginError(view, error.GetCode());
  }
  if (m_changeAfterLogin && m_change != nullptr) m_change->Run(change);
  view.End(IDOK);
}

void CCLoginDlg::LogIn(DialogView& view, BYTE* pin, DWORD length) const {
  LogSessionIn(pin, length);
  ShowStatus(view, "");
  if (m_cache) m_cache->SetPINCache(pin, length);
}

void CCLoginDlg::OnLoginError(DialogView& view, DWORD code) const {
  if (code > 0 && code <= kMostTries) return ShowTriesLeft(view, code);
  if (code == CKR_PIN_LOCKED) return Lock(view);
  if (code == CKR_USER_ALREADY_LOGGED_IN) {
    ShowStatus(view, "");
    return view.End(IDOK);
  }
  view.End(IDOK);
  throw CCSPContextError("Log-in Failed", NTE_FAIL);
}

void CCLoginDlg::Lock(DialogView& view) const {
  ShowStatus(view, LoadText(IDS_PIN_LOCKED));
  for (const int control : {IDC_REVEAL_PIN, IDC_CHANGE_AFTER_LOGIN, IDC_PIN_EDIT, IDC_CHANGE_PIN, IDC_LOGIN}) {
    view.Enable(control, false);
  }
}
