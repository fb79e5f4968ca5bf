// CSelectCard: the dialog in which the user chooses one of the system's card readers.
//
// The result is 1 when a reader was chosen and 2 when the user cancelled. When there is no list to choose from, DoModal
// raises std::runtime_error: "SCardEstablishContext Failed: 0x...", "SCardListReaders Failed: 0x..." with the code as
// eight hexadecimal digits, or "No cards/tokens were detected.".
#pragma once

#include "common/Platform.h"

#include <string>

#include "ui/DialogController.h"

class CSelectCard : public DialogController {
 public:
  CSelectCard() = default;
  // Releases the PC/SC context, and with it the list of readers.
  ~CSelectCard() override;

  INT_PTR DoModal();
  // The name of the chosen reader, byte for byte as PC/SC has it; empty before a choice. A null `out` raises
  // std::runtime_error "Reader name is NULL".
  void GetReaderName(std::string* out) const;

  int GetResource() const override;
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;

 private:
  void ReleaseContext();

  ULONG_PTR m_context = 0;  // an SCARDCONTEXT; this header does not include PC/SC's
  std::string m_readerName;
};
