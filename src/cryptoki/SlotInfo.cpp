#include "cryptoki/SlotInfo.h"

namespace {

constexpr std::size_t kTextLength = 32;
constexpr std::size_t kZerosAfter = 32;

// The first byte is kept, even a space.
std::size_t LengthWithoutSpaces(const CK_UTF8CHAR* text) {
  std::size_t length = kTextLength;
  while (length > 1 && text[length - 1] == ' ') --length;
  return length;
}

std::string WithZeros(const CK_UTF8CHAR* text, std::size_t length) {
  return std::string(text, text + length) + std::string(kZerosAfter, '\0');
}

}  // namespace

SlotInfo::SlotInfo(const CK_SLOT_INFO& info, CK_SLOT_ID id)
    : m_description(WithZeros(info.slotDescription, LengthWithoutSpaces(info.slotDescription))),
      m_manufacturer(WithZeros(info.manufacturerID, kTextLength)),
      m_flags(info.flags),
      m_firmwareVersion(info.firmwareVersion),
      m_hardwareVersion(info.hardwareVersion),
      m_slotId(id) {}
