#include "dialogs/unreached/CChangePwdDlg.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "common/WipeMemory.h"
#include "dialogs/ReadPIN.h"
#include "log/Logs.h"
#include "resources/DialogIds.h"

CChangePwdDlg::CChangePwdDlg()
    : PINChangeDialog(IDC_CURRENT_PWD, IDC_NEW_PWD, IDC_REPEATED_PWD),
      m_fields{{{m_currentPIN, "pbcurrentPIN = ", "this->g_pbcurrentPIN = "},
                {m_newPIN, "pbnewPIN = ", "this->g_pbnewPIN = "},
                {m_repeatedPIN, "pbnewPIN2 = ", "this->g_pbnewPIN2 = "}}} {}

void CChangePwdDlg::SetPINLimits(DWORD minimum, DWORD maximum) {
  m_minimumLength = minimum;
  m_maximumLength = maximum;
}

void CChangePwdDlg::SetOutputs(BYTE* currentPIN, BYTE* newPIN, BYTE* repeatedPIN) {
  m_fields[0].output = currentPIN;
  m_fields[1].output = newPIN;
  m_fields[2].output = repeatedPIN;
}

int CChangePwdDlg::GetResource() const { return IDD_CHANGE_PWD; }

void CChangePwdDlg::OnOpen(DialogView& view) {
  Open(view, "Schimba PIN-ul pentru ");
  for (const Field& field : m_fields) view.LimitText(field.edit.GetControl(), m_maximumLength);
  view.Enable(IDC_CHANGE_PWD, false);
  view.Focus(IDC_CURRENT_PWD);
}

void CChangePwdDlg::OnCommand(DialogView& view, int control, UINT notification) {
  if (CSecureEditEx* const edit = FindEdit(control)) {
    if (notification == EN_UPDATE) edit->OnUpdate(view);
    if (notification == EN_CHANGE) view.Enable(IDC_CHANGE_PWD, CanChange(view));
  } else if (control == IDC_CHANGE_PWD && notification == BN_CLICKED) {
    TakePINs(view);
    view.End(IDOK);
  } else if ((control == IDC_CANCEL || control == IDCANCEL) && notification == BN_CLICKED) {
    view.End(IDCANCEL);
  }
}

// Required: the two new PINs are not compared, here or later.
bool CChangePwdDlg::CanChange(const DialogView& view) const {
  return view.GetTextLength(IDC_CURRENT_PWD) > 0 && view.GetTextLength(IDC_NEW_PWD) >= m_minimumLength &&
         view.GetTextLength(IDC_REPEATED_PWD) >= m_minimumLength;
}

void CChangePwdDlg::TakePINs(const DialogView& view) {
  for (Field& field : m_fields) field.length = 0;
  const std::size_t mostWithTerminator = std::size_t{m_maximumLength} + 1;
  for (Field& field : m_fields) {
    if (ReadPIN(view, field.edit, mostWithTerminator, nullptr, &field.length) != ERROR_SUCCESS) return;
  }
  std::vector<WipedBuffer> pins;
  for (Field& field : m_fields) {
    pins.emplace_back(field.length);
    if (ReadPIN(view, field.edit, mostWithTerminator, pins.back().Data(), &field.length) != ERROR_SUCCESS) return;
  }
  // Required: the PINs go to the log in clear, once as they were read and once as the caller gets them. No other dialog
  // logs a PIN.
  for (std::size_t i = 0; i < m_fields.size(); ++i) {
    g_changePwdLog.WriteBytes(m_fields[i].label, pins[i].Data(), m_fields[i].length, true);
  }
  for (std::size_t i = 0; i < m_fields.size(); ++i) {
    if (m_fields[i].output != nullptr) std::copy_n(pins[i].Data(), m_fields[i].length, m_fields[i].output);
  }
  for (const Field& field : m_fields) {
    g_changePwdLog.WriteBytes(field.outputLabel, field.output, field.output != nullptr ? field.length : 0, true);
  }
}
