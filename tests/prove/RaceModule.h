// RaceModule: a scripted module with two cards that come and go and have different PINs. It counts the PINs that its
// cards refused.
#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <string>

#include "module/ScriptedModule.h"
#include "platform/ScriptedWinSCard.h"

class RaceModule : public ScriptedModule {
 public:
  struct Card {
    std::string reader;
    std::string pin;
    std::size_t modulusBytes;
    // Incremented when the card is pulled, and again when it is back: odd while it is out.
    std::atomic<unsigned> moves{0};
  };

  RaceModule();

  Card& CardOf(std::size_t number) { return m_cards[number % m_cards.size()]; }
  void Pull(Card& card, ScriptedWinSCard& pcsc);
  void PutBack(Card& card, ScriptedWinSCard& pcsc);
  // Incremented when the module's finalisation starts, and again when it ends.
  unsigned Beginnings() const { return m_beginnings; }
  // How often a card was inserted between this thread's two calls that list the cards. The provider must fail then.
  static unsigned GrownLists();
  int WrongPins() const { return m_wrongPins; }
  int RightPins() const { return m_rightPins; }

  // A card that was put back has a new serial number, so it counts as another card.
  CK_RV C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) override;
  CK_RV C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) override;
  CK_RV C_Finalize(CK_VOID_PTR reserved) override;
  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

 private:
  std::array<Card, 2> m_cards{{{"TELVO Reader A", "1234", 128, {}}, {"TELVO Reader B", "87654321", 96, {}}}};
  std::mutex m_finalizing;
  std::atomic<unsigned> m_beginnings{0};
  std::atomic<int> m_wrongPins{0};
  std::atomic<int> m_rightPins{0};
};
