// CChangePwdDlg: a bare Romanian dialog that asks for the current PIN and twice for a new one, and hands all three to
// its caller. Token and session are the caller's business, and so is whether the two new ones are equal; strings 120 to
// 128 are for its messages. Nothing in the library opens it.
//
// The result is 2 when the user cancelled, and 1 for OK also when a PIN could not be read: an edit then holds more than
// the longest PIN, its length and those behind it are 0, and nothing is handed over.
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
  // Where OK copies the PINs to, without terminators: memory of the caller for `maximum` bytes each. A null one gets
  // nothing and is logged as an empty one.
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
