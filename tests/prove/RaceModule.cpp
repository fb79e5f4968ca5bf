#include "RaceModule.h"

namespace {

thread_local unsigned t_grownLists = 0;

}  // namespace

RaceModule::RaceModule() {
  for (Card& card : m_cards) {
    ScriptedToken& token = InsertToken(card.reader);
    token.pin = card.pin;
    token.tries = token.triesLeft = 14;
    token.serial = "0123456789ABCDE" + card.reader.substr(card.reader.size() - 1);
    token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
    token.Add(PublicKeyObject(Text("one"), Counting(card.modulusBytes, 0x81)));
    token.Add(PrivateKeyObject(Text("one"), Counting(card.modulusBytes, 0x81)));
  }
}

void RaceModule::Pull(Card& card, ScriptedWinSCard& pcsc) {
  ++card.moves;
  RemoveToken(card.reader);
  pcsc.RemoveCard(card.reader);
  ForgetCalls();
}

void RaceModule::PutBack(Card& card, ScriptedWinSCard& pcsc) {
  InsertToken(card.reader);
  pcsc.InsertCard(card.reader);
  ++card.moves;
}

CK_RV RaceModule::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
  const CK_RV result = ScriptedModule::C_GetTokenInfo(slot, info);
  if (result != CKR_OK || slot >= m_cards.size()) return result;
  const unsigned number = m_cards[slot].moves.load(std::memory_order_relaxed) / 2;
  info->serialNumber[0] = static_cast<CK_CHAR>('A' + number % 16);
  return result;
}

unsigned RaceModule::GrownLists() { return t_grownLists; }

CK_RV RaceModule::C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) {
  const CK_RV result = ScriptedModule::C_GetSlotList(tokenPresent, slotList, count);
  if (result == CKR_BUFFER_TOO_SMALL) ++t_grownLists;
  return result;
}

CK_RV RaceModule::C_Finalize(CK_VOID_PTR reserved) {
  const std::lock_guard<std::mutex> lock(m_finalizing);
  ++m_beginnings;
  const CK_RV result = ScriptedModule::C_Finalize(reserved);
  ++m_beginnings;
  return result;
}

CK_RV RaceModule::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const CK_RV result = ScriptedModule::C_LoginExtended(session, user, pin, pinLen);
  if (result == CKR_OK) ++m_rightPins;
  if ((result >= 1 && result < 14) || result == CKR_PIN_LOCKED || result == CKR_PIN_INCORRECT) ++m_wrongPins;
  return result;
}
