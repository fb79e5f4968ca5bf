#include "adapter/Slots.h"

#include <algorithm>

#include "adapter/Patience.h"
#include "adapter/software/Digest.h"
#include "pkcs11/Failure.h"

namespace adapter {

using pkcs11::Check;
using pkcs11::Require;

namespace {

// The most slots that a module may report.
constexpr CK_ULONG kMostSlots = 1024;

constexpr std::size_t kLongestName = sizeof(CK_SLOT_INFO::slotDescription);

std::string Numbered(const std::string& name, unsigned number) {
  const std::string suffix = " (" + std::to_string(number) + ")";
  return name.substr(0, kLongestName - suffix.size()) + suffix;
}

}  // namespace

std::string PlainText(const CK_UTF8CHAR* field, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size && field[i] != 0; ++i) {
    const bool isControl = field[i] < 0x20 || field[i] == 0x7F;
    if (!isControl) text.push_back(static_cast<char>(field[i]));
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string SerialOf(const CK_TOKEN_INFO& token) {
  std::string serial = PlainText(token.serialNumber, sizeof token.serialNumber);
  if (serial.find_first_not_of("0 ") != std::string::npos) return serial;
  software::Digest digest(CKM_SHA256);
  digest.Update(token.manufacturerID, sizeof token.manufacturerID);
  digest.Update(token.model, sizeof token.model);
  digest.Update(token.label, sizeof token.label);
  const std::vector<CK_BYTE> bytes = digest.Final();
  std::string digits;
  for (std::size_t i = 0; i < sizeof token.serialNumber / 2; ++i) {
    digits.push_back("0123456789ABCDEF"[bytes[i] >> 4U]);
    digits.push_back("0123456789ABCDEF"[bytes[i] & 0xFU]);
  }
  return digits;
}

std::vector<CK_SLOT_ID> Slots::ListLower() {
  CK_ULONG count = 0;
  Check(m_module.Call<&CK_FUNCTION_LIST::C_GetSlotList>(CK_BBOOL{CK_FALSE}, CK_SLOT_ID_PTR{nullptr}, &count));
  // A reader may be added between the two calls.
  constexpr CK_ULONG kSpare = 8;
  Require(count <= kMostSlots, CKR_GENERAL_ERROR);
  std::vector<CK_SLOT_ID> slots(count + kSpare);
  count = static_cast<CK_ULONG>(slots.size());
  Check(m_module.Call<&CK_FUNCTION_LIST::C_GetSlotList>(CK_BBOOL{CK_FALSE}, slots.data(), &count));
  Require(count <= slots.size(), CKR_GENERAL_ERROR);
  slots.resize(count);
  return slots;
}

void Slots::Refresh() {
  const std::vector<CK_SLOT_ID> lower = ListLower();
  for (Slot& slot : m_slots) slot.listed = std::find(lower.begin(), lower.end(), slot.lower) != lower.end();
  for (const CK_SLOT_ID id : lower) {
    const bool known = std::any_of(m_slots.begin(), m_slots.end(), [&](const Slot& slot) { return slot.lower == id; });
    if (known) continue;
    Slot slot;
    slot.lower = id;
    slot.listed = true;
    m_slots.push_back(slot);
  }
  for (std::size_t index = 0; index < m_slots.size(); ++index) {
    Look(m_slots[index]);
    Name(index);
  }
}

void Slots::Look(Slot& slot) {
  slot.isIn = false;
  if (!slot.listed) return;
  slot.info = {};
  slot.listed = m_module.Call<&CK_FUNCTION_LIST::C_GetSlotInfo>(slot.lower, &slot.info) == CKR_OK;
  if (!slot.listed || (slot.info.flags & CKF_TOKEN_PRESENT) == 0) return;
  CK_TOKEN_INFO token = {};
  const CK_RV result = Patiently([&] { return m_module.Call<&CK_FUNCTION_LIST::C_GetTokenInfo>(slot.lower, &token); });
  if (result != CKR_OK) return;
  // Some modules have an extra slot for a token that does not exist yet.
  slot.isIn = (token.flags & (CKF_TOKEN_INITIALIZED | CKF_USER_PIN_INITIALIZED)) != 0;
  if (!slot.isIn) return;
  slot.token = token;
  slot.label = PlainText(token.label, sizeof token.label);
  slot.serial = SerialOf(token);
}

std::string Slots::GivenName(const Slot& slot) const {
  for (const TokenName& given : m_settings.names) {
    const bool meant = slot.isIn && (given.serial.empty() || given.serial == slot.serial) &&
                       (given.label.empty() || given.label == slot.label);
    if (meant) return given.name.substr(0, kLongestName);
  }
  return PlainText(slot.info.slotDescription, sizeof slot.info.slotDescription);
}

bool Slots::IsTaken(const std::string& name, std::size_t before) const {
  const auto end = m_slots.begin() + static_cast<std::ptrdiff_t>(before);
  return std::any_of(m_slots.begin(), end, [&](const Slot& slot) { return slot.listed && slot.name == name; });
}

// The first slot with a name keeps it.
void Slots::Name(std::size_t index) {
  Slot& slot = m_slots[index];
  if (!slot.listed) return;
  std::string name = GivenName(slot);
  if (name.empty()) name = "Token slot " + std::to_string(index + 1);
  slot.name = name;
  for (unsigned number = 2; IsTaken(slot.name, index); ++number) slot.name = Numbered(name, number);
}

// A slot without a token is shown, because the right one may still be inserted.
bool Slots::IsShown(const Slot& slot) const {
  if (!slot.listed) return false;
  const std::string reader = PlainText(slot.info.slotDescription, sizeof slot.info.slotDescription);
  if (!m_settings.reader.empty() && m_settings.reader != reader && m_settings.reader != slot.name) return false;
  if (!slot.isIn) return true;
  const std::string ownSerial = PlainText(slot.token.serialNumber, sizeof slot.token.serialNumber);
  return (m_settings.label.empty() || m_settings.label == slot.label) &&
         (m_settings.serial.empty() || m_settings.serial == slot.serial || m_settings.serial == ownSerial);
}

const Slot& Slots::At(CK_SLOT_ID slot) const {
  Require(slot < m_slots.size() && IsShown(m_slots[slot]), CKR_SLOT_ID_INVALID);
  return m_slots[slot];
}

std::vector<CK_SLOT_ID> Slots::List(bool tokenPresent) const {
  std::vector<CK_SLOT_ID> ids;
  for (std::size_t index = 0; index < m_slots.size(); ++index) {
    const Slot& slot = m_slots[index];
    if (IsShown(slot) && (slot.isIn || !tokenPresent)) ids.push_back(static_cast<CK_SLOT_ID>(index));
  }
  return ids;
}

}  // namespace adapter
