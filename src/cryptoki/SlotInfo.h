// SlotInfo: the module's information about a slot.
#pragma once

#include <string>

#include "cryptoki/Version.h"

class SlotInfo {
 public:
  // `id` is the slot's id, which is not in the record.
  SlotInfo(const CK_SLOT_INFO& info, CK_SLOT_ID id);

  // The reader's name: the first 32 bytes of the module's description without trailing spaces, and after them 32 zero
  // bytes. As C characters it ends at the first zero byte. Comparisons cover the zero bytes, so compare only
  // descriptions that a SlotInfo made.
  const std::string& GetDescription() const { return m_description; }
  // 32 bytes with their trailing spaces, and after them 32 zero bytes.
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
