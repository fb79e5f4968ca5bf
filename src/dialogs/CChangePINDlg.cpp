#include "dialogs/CChangePINDlg.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <new>
#include <vector>

#include "common/WipeMemory.h"
#include "cryptoki/LoginLock.h"
#include "cryptoki/TriesLeft.h"
#include "dialogs/StrengthBar.h"
#include "resources/DialogIds.h"
#include "ui/DialogHost.h"

namespace {

CSecureEditEx::PlainText ReadText(const DialogView& view, const CSecureEditEx& edit) {
  CSecureEditEx::PlainText text = edit.GetPlainText(view);
  if (!text) throw std::bad_alloc();
  return text;
}

bool IsEmpty(const CSecureEditEx::PlainText& text) { return text[0] == '\0'; }

bool AreEqual(const CSecureEditEx::PlainText& a, const CSecureEditEx::PlainText& b) {
  return std::strcmp(a.get(), b.get()) == 0;
}

}  // namespace

CChangePINDlg::CChangePINDlg()
    : PINChangeDialog(IDC_CURRENT_PIN, IDC_NEW_PIN, IDC_REPEATED_PIN), m_status(IDC_CHANGE_STATUS) {}

void CChangePINDlg::HandOverPIN(const boost::shared_array<BYTE>& pin, DWORD length) {
  m_pin = pin;
  m_pinLength = length;
}

INT_PTR CChangePINDlg::DoModalOver(DialogView& owner) { return GetDialogHost().RunOver(owner, *this); }

int CChangePINDlg::GetResource() const { return IDD_CHANGE_PIN; }

// --- Opening

void CChangePINDlg::OnOpen(DialogView& view) {
  std::vector<KeyLabels> labels = DigitKeyLabels();
  ShuffleKeyLabels(labels, static_cast<unsigned>(std::time(nullptr)));
  m_keyboard.LabelDigits(view, labels);
  Open(view, "Change PIN for ");
  if (IsPINHandedOver()) ShowHandedOverPIN(view);
  m_activeEdit = &m_currentPIN;
  OpenStrengthBar(view);
  OnScreenKeyboard::AdjustHeight(view, IDC_SHOW_CHANGE_KEYBOARD);
  ApplyReveal(view);
  // Required: the user can show neither the keyboard nor the PINs. The check box of the keyboard stays in view.
  view.Enable(IDC_SHOW_CHANGE_KEYBOARD, false);
  view.Show(IDC_SHOW_KEYBOARD, false);
  view.Enable(IDC_REVEAL_PINS, false);
  view.Show(IDC_REVEAL_PINS, false);
  for (int control = IDC_CHANGE_HIDDEN_FIRST; control <= IDC_CHANGE_HIDDEN_LAST; ++control) view.Show(control, false);
  view.Enable(IDOK, false);
}

void CChangePINDlg::ShowHandedOverPIN(DialogView& view) {
  WipedBuffer text(m_pinLength + std::size_t{1});
  std::copy_n(m_pin.get(), m_pinLength, text.Data());
  m_currentPIN.SetPlainText(view, reinterpret_cast<const char*>(text.Data()));
  view.Enable(IDC_CURRENT_PIN, false);
}

// Required: what moves into secure mode is the window's text. For a PIN that was handed over, that is asterisks, so its
// edit keeps only the length.
void CChangePINDlg::ApplyReveal(DialogView& view) {
  CSecureEditEx* const active = m_activeEdit;
  const bool revealed = view.IsChecked(IDC_REVEAL_PINS);
  for (CSecureEditEx* const edit : {&m_currentPIN, &m_newPIN, &m_repeatedPIN}) {
    if (!revealed) edit->SetSecureMode(0);
    const PlainText text = ReadText(view, *edit);
    edit->SetSecureMode(revealed ? 0 : 1);
    edit->SetPlainText(view, text.get());
  }
  Activate(view, *active);
}

// When the dialog itself writes to an edit, that one becomes active for a moment. This makes the user's edit active
// again.
void CChangePINDlg::Activate(DialogView& view, CSecureEditEx& edit) {
  m_activeEdit = &edit;
  view.Focus(edit.GetControl());
  const std::size_t end = view.GetTextLength(edit.GetControl());
  view.Select(edit.GetControl(), {end, end});
}

// --- Events

void CChangePINDlg::OnCommand(DialogView& view, int control, UINT notification) {
  if (CSecureEditEx* const edit = FindEdit(control)) {
    OnEdit(view, *edit, notification);
  } else if (notification == BN_CLICKED) {
    OnClicked(view, control);
  }
}

void CChangePINDlg::OnEdit(DialogView& view, CSecureEditEx& edit, UINT notification) {
  if (notification == EN_UPDATE) edit.OnUpdate(view);
  if (notification == EN_SETFOCUS || notification == EN_CHANGE) m_activeEdit = &edit;
  if (notification != EN_CHANGE) return;
  if (&edit == &m_newPIN) OnNewPINChanged(view);
  if (&edit == &m_repeatedPIN) OnRepeatedPINChanged(view);
}

void CChangePINDlg::OnClicked(DialogView& view, int control) {
  switch (control) {
    case IDOK:
      return OnOK(view);
    case IDCANCEL:
      return view.End(IDCANCEL);
    case IDC_CLEAR_PINS:
      return OnClear(view);
    case IDC_SHOW_CHANGE_KEYBOARD:
      OnScreenKeyboard::AdjustHeight(view, IDC_SHOW_CHANGE_KEYBOARD);
      return view.Focus(m_activeEdit->GetControl());
    case IDC_REVEAL_PINS:
      return ApplyReveal(view);
    default:
      return m_keyboard.Press(view, control, m_activeEdit->GetControl());
  }
}

void CChangePINDlg::OnClear(DialogView& view) {
  CSecureEditEx* const active = m_activeEdit;
  if (!IsPINHandedOver()) m_currentPIN.SetPlainText(view, nullptr);
  m_newPIN.SetPlainText(view, nullptr);
  m_repeatedPIN.SetPlainText(view, nullptr);
  Activate(view, *active);
  view.Enable(IDOK, false);
}

void CChangePINDlg::OnNewPINChanged(DialogView& view) const {
  const PlainText text = ReadText(view, m_newPIN);
  ShowStrength(view, text.get());
}

// Required: an empty repetition changes nothing, unless the new PIN is empty, too: OK keeps its state.
void CChangePINDlg::OnRepeatedPINChanged(DialogView& view) const {
  const PlainText repeated = ReadText(view, m_repeatedPIN);
  if (AreEqual(ReadText(view, m_newPIN), repeated)) {
    m_status.Clear(view);
    view.Enable(IDOK, true);
  } else if (!IsEmpty(repeated)) {
    Complain(view, IDS_NEW_PIN_DOES_NOT_MATCH, m_repeatedPIN);
    view.Enable(IDOK, false);
  }
}

void CChangePINDlg::Complain(DialogView& view, UINT text, const CSecureEditEx& edit) const {
  m_status.ShowText(view, text);
  view.Focus(edit.GetControl());
}

// --- The change

void CChangePINDlg::OnOK(DialogView& view) const {
  const PlainText current = ReadText(view, m_currentPIN);
  const PlainText fresh = ReadText(view, m_newPIN);
  const PlainText repeated = ReadText(view, m_repeatedPIN);
  if (IsEmpty(current)) return Complain(view, IDS_PLEASE_ENTER_CURRENT_PIN, m_currentPIN);
  if (IsEmpty(fresh)) return Complain(view, IDS_PLEASE_ENTER_NEW_PIN, m_newPIN);
  if (IsEmpty(repeated)) return Complain(view, IDS_PLEASE_VERIFY_NEW_PIN, m_repeatedPIN);
  if (!AreEqual(fresh, repeated)) return Complain(view, IDS_NEW_PIN_DOES_NOT_MATCH, m_repeatedPIN);
  if (m_session != nullptr) {
    try {
      ChangeAndLogIn(current.get(), fresh.get());
    } catch (const CryptokiError& error) {
      return OnFailure(view, error);
    }
    m_status.Clear(view);
  }
  view.End(IDOK);
}

void CChangePINDlg::ChangeAndLogIn(const char* currentPIN, const char* newPIN) const {
  WipedBuffer before(IsPINHandedOver() ? m_pinLength : std::strlen(currentPIN));
  if (IsPINHandedOver()) {
    std::copy_n(m_pin.get(), m_pinLength, before.Data());
  } else {
    std::memcpy(before.Data(), currentPIN, before.Length());
  }
  WipedBuffer after(std::strlen(newPIN));
  std::memcpy(after.Data(), newPIN, after.Length());
  const auto newLength = static_cast<DWORD>(after.Length());

  const LoginLock lock;
  m_session->SetPIN(before.Data(), static_cast<DWORD>(before.Length()), after.Data(), newLength);
  if (m_cache) m_cache->SetPINCache(after.Data(), newLength);
  m_session->Login(CKU_USER, after.Data(), newLength);
}

void CChangePINDlg::OnFailure(DialogView& view, const CryptokiError& error) const {
  switch (error.GetCode()) {
    case CKR_PIN_INCORRECT:
      return OnWrongPIN(view);
    case CKR_PIN_LOCKED:
      return Lock(view);
    case CKR_USER_ALREADY_LOGGED_IN:
      return m_status.Clear(view);
    default:
      return m_status.Show(view, error.GetText());
  }
}

void CChangePINDlg::OnWrongPIN(DialogView& view) const {
  try {
    const DWORD tries = TriesLeft(*m_session);
    if (tries == 0) return Lock(view);
    m_status.ShowText(view, IDS_INCORRECT_CURRENT_PIN, tries);
    view.Focus(IDC_CURRENT_PIN);
  } catch (const CryptokiError& error) {
    m_status.Show(view, error.GetText());
  }
}

void CChangePINDlg::Lock(DialogView& view) const {
  m_status.ShowText(view, IDS_PIN_LOCKED);
  for (const int control : {IDC_REVEAL_PINS, IDC_CLEAR_PINS, IDOK, IDC_CURRENT_PIN, IDC_NEW_PIN, IDC_REPEATED_PIN}) {
    view.Enable(control, false);
  }
}
