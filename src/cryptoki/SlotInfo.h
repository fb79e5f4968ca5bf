// SlotInfo: what the module says of a slot.
#pragma once

#include <string>

#include "cryptoki/Version.h"

class SlotInfo {
 public:
  // `id` is the id that was asked for; the record does not hold it.
  SlotInfo(const CK_SLOT_INFO& info, CK_SLOT_ID id);

  // The reader's name: of the first 32 bytes of the module's text, what stands before the trailing blanks,
  // and 32 zero bytes behind it. The text ends at the first zero byte. Compare only descriptions made by this
  // rule.
  const std::string& GetDescription() const { return m_description; }
  // 32 bytes, blanks included, and 32 zero bytes behind them.
  const std::string& GetManufacturer() const { return m_manufacturer; }
  CK_FLAGS GetFlags() const { return m_flags; }
  const Version& GetFirmwareVersion() const { return m_firmwareVersion; }
  const Version& GetHardwareVersion() const { return m_hardwareVersion; }
  CK_SLOT_ID GetSlotId() const { return m_slotId; }

 private:
  std::string m_description;
  std::string m_manufacturer;
  CK_FLAGS m_flags;
  Version m_firmwareVersion;
  Version m_hardwareVersion;
  CK_SLOT_ID m_slotId;
};
