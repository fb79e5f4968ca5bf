// CChangePwdDlg: a bare Romanian dialog that asks for the current PIN and twice for a new one, and hands all three to
// its caller. The caller works with the token and compares the two new PINs; strings 120 to 128 are for its messages.
//
// Unreached: built and tested because the product must have it, though nothing in the provider uses it.
//
// The result is 2 when the user cancelled, and 1 for OK. It is 1 also when an edit holds more than the longest PIN:
// then nothing is handed over, and the lengths of this PIN and of those after it are 0.
//
// Warning: with the log switched on, OK writes all three PINs to it in clear.
#pragma once

#include "common/Platform.h"

#include <array>

#include "dialogs/PINChangeDialog.h"

class CChangePwdDlg : public PINChangeDialog {
 public:
  CChangePwdDlg();

  // In characters. OK waits for new PINs of at least `minimum`; no edit takes more than `maximum`.
  void SetPINLimits(DWORD minimum, DWORD maximum);
  // Where OK copies the PINs to, without terminators: memory of the caller, `maximum` bytes for each. Nothing is copied
  // to a null one, and its PIN is logged as empty.
  void SetOutputs(BYTE* currentPIN, BYTE* newPIN, BYTE* repeatedPIN);
  // In bytes; 0 before OK.
  DWORD GetCurrentPINLength() const { return m_fields[0].length; }
  DWORD GetNewPINLength() const { return m_fields[1].length; }
  DWORD GetRepeatedPINLength() const { return m_fields[2].length; }

  int GetResource() const override;
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;

 private:
  struct Field {
    const CSecureEditEx& edit;
    const char* label = "";        // of the PIN as it was read
    const char* outputLabel = "";  // of the PIN as the caller gets it
    BYTE* output = nullptr;
    DWORD length = 0;
  };

  bool CanChange(const DialogView& view) const;
  void TakePINs(const DialogView& view);

  std::array<Field, 3> m_fields;
  DWORD m_minimumLength = 0;
  DWORD m_maximumLength = 0;
};
