// CSelectCard: the dialog in which the user chooses one of the system's card readers.
//
// The result is 1 when a reader was chosen and 2 when the user cancelled. Without a list to choose from the run raises
// std::runtime_error: "SCardEstablishContext Failed: 0x...", "SCardListReaders Failed: 0x..." with the code as eight
// hexadecimal digits, "No cards/tokens were detected.".
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
  // The name of the chosen reader, empty before a choice, byte for byte as PC/SC has it. A null target raises
  // std::runtime_error "Reader name is NULL".
  void GetReaderName(std::string* out) const;

  int GetResource() const override;
  void OnOpen(DialogView& view) override;
  void OnCommand(DialogView& view, int control, UINT notification) override;

 private:
  void ReleaseContext();

  ULONG_PTR m_context = 0;  // an SCARDCONTEXT; its header stays out of here
  std::string m_readerName;
};
