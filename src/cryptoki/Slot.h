// Slot: one slot of the module, which is a reader. A call that the module refuses raises CryptokiError with the
// module's code and changes nothing here. Without a module CKR_ARGUMENTS_BAD is raised.
#pragma once

#include <string>

#include "cryptoki/ICryptokiSettable.h"
#include "cryptoki/SlotInfo.h"
#include "cryptoki/Token.h"

class Slot final : public ICryptokiSettable {
 public:
  explicit Slot(const SlotInfo& info);

  // Also sets the module of the token.
  void SetCryptoki(boost::shared_ptr<CryptokiInterface> cryptoki) override;

  // The reader's name as it was last read, in the form of SlotInfo::GetDescription.
  std::string GetSlotDescription() const;
  CK_SLOT_ID GetSlotId() const { return m_info.GetSlotId(); }
  // Reads the slot again, and sets the module of the token.
  bool IsTokenPresent();
  // Reads the slot again.
  SlotInfo& GetSlotInfo();
  // Sets the module of the token.
  Token& GetToken();
  // The names of the slot's flags; see FlagsText.h.
  std::string FlagsText() const;

 private:
  SlotInfo m_info;
  Token m_token;
};
