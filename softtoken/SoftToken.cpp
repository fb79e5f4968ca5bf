#include "SoftToken.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Files.h"

namespace softtoken {
namespace {

constexpr std::string_view kManufacturer = "telvocsp";
constexpr CK_VERSION kModuleVersion = {1, 0};

// PKCS#11 pads its fixed text fields with spaces.
template <std::size_t Size>
void Fill(CK_UTF8CHAR (&field)[Size], std::string_view text) {
  std::memset(field, ' ', Size);
  std::memcpy(field, text.data(), std::min(text.size(), Size));
}

// Returns a list to the caller, or only its length when there is no buffer.
template <typename Item>
CK_RV HandOut(const std::vector<Item>& items, Item* list, CK_ULONG* count) {
  const CK_ULONG room = std::exchange(*count, items.size());
  if (list == nullptr) return CKR_OK;
  if (room < items.size()) return CKR_BUFFER_TOO_SMALL;
  std::copy(items.begin(), items.end(), list);
  return CKR_OK;
}

struct PinFlags {
  CK_FLAGS countLow, finalTry, locked;
};

CK_FLAGS FlagsOf(const CardFile& file, PinOwner owner, const PinFlags& flags) {
  const unsigned wrong = file.WrongTries(owner);
  CK_FLAGS set = 0;
  if (wrong > 0) set |= flags.countLow;
  if (wrong + 1 == file.Tries()) set |= flags.finalTry;
  if (wrong == file.Tries()) set |= flags.locked;
  return set;
}

}  // namespace

SoftToken::SoftToken(Settings settings) : m_settings(std::move(settings)), m_hsm(m_settings.softHsm) {
  MakeFolder(m_settings.stateFolder);
  // Without the lock, two processes that start at once would both make the missing cards.
  const FileLock lock(m_settings.stateFolder + "/lock");
  try {
    m_hsm.Start(m_settings.stateFolder);
    MakeCards();
  } catch (const Failure& failure) {
    m_hsm.Stop();
    std::ostringstream text;
    text << "SoftHSM2 cannot be started in " << m_settings.stateFolder << ": 0x" << std::hex << failure.code;
    throw std::runtime_error(text.str());
  } catch (...) {
    m_hsm.Stop();
    throw;
  }
}

void SoftToken::Stop() { m_hsm.Stop(); }

void SoftToken::MakeCards() {
  const ReaderStatus status = [this](const std::string& reader) { return m_readers.State(reader); };
  for (const SlotSettings& slot : m_settings.slots) {
    m_cards.push_back(
        std::make_unique<Card>(slot, m_settings.stateFolder, MakePresence(slot, status), std::as_const(m_hsm)));
    if (m_cards.back()->Prepare()) m_hsm.Restart();
  }
  for (const auto& card : m_cards) card->Attach();
  // The PINs were needed for new cards only.
  for (SlotSettings& slot : m_settings.slots) {
    Secret().swap(slot.pin);
    Secret().swap(slot.soPin);
  }
}

Card& SoftToken::CardAt(CK_SLOT_ID slot) {
  Require(slot < m_cards.size(), CKR_SLOT_ID_INVALID);
  return *m_cards[slot];
}

Card& SoftToken::CardIn(CK_SLOT_ID slot) {
  Card& card = CardAt(slot);
  Look(slot, Freshness::Now);
  Require(card.IsIn(), CKR_TOKEN_NOT_PRESENT);
  return card;
}

void SoftToken::Look(CK_SLOT_ID slot, Freshness freshness) {
  if (!m_cards[slot]->Look(freshness)) return;
  for (auto& [handle, session] : m_sessions) {
    if (session.slot == slot) session.removed = true;
  }
}

CK_RV SoftToken::C_GetInfo(CK_INFO_PTR info) {
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  *info = {};
  info->cryptokiVersion = {2, 40};
  Fill(info->manufacturerID, kManufacturer);
  Fill(info->libraryDescription, "Software token for development");
  info->libraryVersion = kModuleVersion;
  return CKR_OK;
}

CK_RV SoftToken::C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) {
  Require(count != nullptr, CKR_ARGUMENTS_BAD);
  std::vector<CK_SLOT_ID> slots;
  for (CK_SLOT_ID slot = 0; slot < m_cards.size(); ++slot) {
    if (tokenPresent != CK_FALSE) Look(slot, Freshness::Now);
    if (tokenPresent == CK_FALSE || m_cards[slot]->IsIn()) slots.push_back(slot);
  }
  return HandOut(slots, slotList, count);
}

CK_RV SoftToken::C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info) {
  const Card& card = CardAt(slot);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  Look(slot, Freshness::Now);
  *info = {};
  Fill(info->slotDescription, card.Settings().reader);
  Fill(info->manufacturerID, kManufacturer);
  info->flags = CKF_REMOVABLE_DEVICE | (card.IsIn() ? CKF_TOKEN_PRESENT : 0);
  info->hardwareVersion = kModuleVersion;
  info->firmwareVersion = kModuleVersion;
  return CKR_OK;
}

CK_RV SoftToken::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
  const Card& card = CardIn(slot);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  *info = {};
  Fill(info->label, card.Settings().label);
  Fill(info->manufacturerID, kManufacturer);
  Fill(info->model, "Software token");
  std::memcpy(info->serialNumber, card.Settings().serial.data(), sizeof info->serialNumber);
  info->flags =
      CKF_RNG | CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED | CKF_TOKEN_INITIALIZED |
      FlagsOf(card.File(), PinOwner::User, {CKF_USER_PIN_COUNT_LOW, CKF_USER_PIN_FINAL_TRY, CKF_USER_PIN_LOCKED}) |
      FlagsOf(card.File(), PinOwner::SecurityOfficer, {CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_FINAL_TRY, CKF_SO_PIN_LOCKED});
  info->ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
  info->ulSessionCount = CountSessions(slot, false);
  info->ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
  info->ulRwSessionCount = CountSessions(slot, true);
  info->ulMaxPinLen = kMaxPinLength;
  info->ulMinPinLen = kMinPinLength;
  info->ulTotalPublicMemory = CK_UNAVAILABLE_INFORMATION;
  info->ulFreePublicMemory = CK_UNAVAILABLE_INFORMATION;
  info->ulTotalPrivateMemory = CK_UNAVAILABLE_INFORMATION;
  info->ulFreePrivateMemory = CK_UNAVAILABLE_INFORMATION;
  info->hardwareVersion = kModuleVersion;
  info->firmwareVersion = kModuleVersion;
  Fill(info->utcTime, "");
  return CKR_OK;
}

CK_RV SoftToken::C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count) {
  const Card& card = CardIn(slot);
  Require(count != nullptr, CKR_ARGUMENTS_BAD);
  CK_ULONG lowerCount = 0;
  Check(Functions().C_GetMechanismList(card.Store(), nullptr, &lowerCount));
  std::vector<CK_MECHANISM_TYPE> lower(lowerCount);
  Check(Functions().C_GetMechanismList(card.Store(), lower.data(), &lowerCount));
  return HandOut(Offered(lower), list, count);
}

CK_RV SoftToken::C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info) {
  const Card& card = CardIn(slot);
  ParameterOf(type);
  const CK_RV result = Functions().C_GetMechanismInfo(card.Store(), type, info);
  // A card sets CKF_HW on everything that it does. Programs that test signatures skip mechanisms without it.
  if (result == CKR_OK) info->flags |= CKF_HW;
  return result;
}

CK_RV SoftToken::C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR /*pin*/, CK_ULONG /*pinLen*/, CK_UTF8CHAR_PTR /*label*/) {
  CardAt(slot);
  return CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV SoftToken::C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved) {
  Require(slot != nullptr && reserved == nullptr, CKR_ARGUMENTS_BAD);
  // A wait would hold the lock and block every other thread.
  Require((flags & CKF_DONT_BLOCK) != 0, CKR_FUNCTION_NOT_SUPPORTED);
  for (CK_SLOT_ID id = 0; id < m_cards.size(); ++id) {
    Look(id, Freshness::Now);
    if (m_cards[id]->TakeEvent()) {
      *slot = id;
      return CKR_OK;
    }
  }
  return CKR_NO_EVENT;
}

}  // namespace softtoken
