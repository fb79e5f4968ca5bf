// Slot: one slot of the module, on this hardware a reader. A call that the module refuses raises
// CryptokiError with its code and leaves what was known in place; without a module CKR_ARGUMENTS_BAD.
#pragma once

#include <string>

#include "cryptoki/ICryptokiSettable.h"
#include "cryptoki/SlotInfo.h"
#include "cryptoki/Token.h"

class Slot final : public ICryptokiSettable {
 public:
  explicit Slot(const SlotInfo& info);

  // The token gets the module as well.
  void SetCryptoki(boost::shared_ptr<CryptokiInterface> cryptoki) override;

  // The reader's name, by the rule of SlotInfo::GetDescription, as it was last read.
  std::string GetSlotDescription() const;
  CK_SLOT_ID GetSlotId() const { return m_info.GetSlotId(); }
  // Reads the slot anew and hands the module on to the token.
  bool IsTokenPresent();
  // Reads the slot anew.
  SlotInfo& GetSlotInfo();
  // Hands the module on to the token.
  Token& GetToken();
  // std::out_of_range when no flag with a name is set.
  std::string FlagsText() const;

 private:
  SlotInfo m_info;
  Token m_token;
};
