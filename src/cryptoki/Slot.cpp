#include "cryptoki/Slot.h"

#include "cryptoki/CryptokiError.h"
#include "cryptoki/FlagsText.h"

Slot::Slot(const SlotInfo& info) : m_info(info), m_token(info.GetSlotId()) {}

void Slot::SetCryptoki(boost::shared_ptr<CryptokiInterface> cryptoki) {
  ICryptokiSettable::SetCryptoki(cryptoki);
  m_token.SetCryptoki(cryptoki);
}

std::string Slot::GetSlotDescription() const { return m_info.GetDescription(); }

bool Slot::IsTokenPresent() {
  GetSlotInfo();
  m_token.SetCryptoki(m_cryptoki);
  return (m_info.GetFlags() & CKF_TOKEN_PRESENT) != 0;
}

SlotInfo& Slot::GetSlotInfo() {
  CK_SLOT_INFO info = {};
  Check(Module().C_GetSlotInfo(m_info.GetSlotId(), &info));
  m_info = SlotInfo(info, m_info.GetSlotId());
  return m_info;
}

Token& Slot::GetToken() {
  m_token.SetCryptoki(m_cryptoki);
  return m_token;
}

std::string Slot::FlagsText() const {
  return ::FlagsText(m_info.GetFlags(), {{CKF_HW_SLOT, "CKF_HW_SLOT"},
                                         {CKF_REMOVABLE_DEVICE, "CKF_REMOVABLE_DEVICE"},
                                         {CKF_TOKEN_PRESENT, "CKF_TOKEN_PRESENT"}});
}
