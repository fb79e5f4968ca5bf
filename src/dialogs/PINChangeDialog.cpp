#include "dialogs/PINChangeDialog.h"

#include <utility>

#include "ui/DialogHost.h"

PINChangeDialog::PINChangeDialog(int currentPIN, int newPIN, int repeatedPIN)
    : m_currentPIN(currentPIN), m_newPIN(newPIN), m_repeatedPIN(repeatedPIN) {}

INT_PTR PINChangeDialog::DoModal() { return GetDialogHost().Run(*this); }

void PINChangeDialog::BeforeInput(DialogView& view, int control, UINT message, WPARAM key) {
  if (CSecureEditEx* const edit = FindEdit(control)) edit->BeforeInput(view, message, key);
}

void PINChangeDialog::AfterInput(DialogView& view, int control, UINT message, WPARAM /*key*/) {
  if (CSecureEditEx* const edit = FindEdit(control)) edit->AfterInput(view, message);
}

void PINChangeDialog::Open(DialogView& view, const std::string& words) {
  for (CSecureEditEx* const edit : {&m_currentPIN, &m_newPIN, &m_repeatedPIN}) edit->OnOpen();
  if (!m_tokenLabel.empty()) view.SetTitle(words + m_tokenLabel);
}

const CSecureEditEx* PINChangeDialog::FindEdit(int control) const {
  for (const CSecureEditEx* const edit : {&m_currentPIN, &m_newPIN, &m_repeatedPIN}) {
    if (edit->GetControl() == control) return edit;
  }
  return nullptr;
}

CSecureEditEx* PINChangeDialog::FindEdit(int control) {
  return const_cast<CSecureEditEx*>(std::as_const(*this).FindEdit(control));
}
