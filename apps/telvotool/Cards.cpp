#include "telvotool/Cards.h"

#include <algorithm>

#include "cryptoki/CCryptoWrapper.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/TriesLeft.h"
#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

// No value when the last PIN was right. A session without a login costs the card nothing.
std::optional<unsigned> TriesAfterAWrongPin(Token& token) {
  try {
    Session session = token.OpenSession(CKF_SERIAL_SESSION, nullptr, nullptr);
    const DWORD tries = TriesLeft(session);
    session.Close();
    if (tries != 0) return tries;
  } catch (const CryptokiError&) {
    // The tries stay unknown. The commands that use the card report why it opens no session.
  }
  return std::nullopt;
}

Card CardIn(Slot& slot) {
  Token& token = slot.GetToken();
  const TokenInfo& info = token.GetTokenInfo();
  Card card;
  card.label = WithoutTrailingSpaces(info.GetLabel());
  card.serial = info.GetSerial();
  card.initialised = (info.GetFlags() & CKF_TOKEN_INITIALIZED) != 0;
  card.locked = (info.GetFlags() & CKF_USER_PIN_LOCKED) != 0;
  if (!card.locked) card.tries = TriesAfterAWrongPin(token);
  return card;
}

bool SaysItIsGone(const CryptokiError& error) {
  const DWORD code = error.GetCode();
  return code == CKR_TOKEN_NOT_PRESENT || code == CKR_DEVICE_REMOVED || code == CKR_SLOT_ID_INVALID;
}

// No value when the card is pulled in between.
std::optional<Card> CardInNow(Slot& slot) {
  try {
    return CardIn(slot);
  } catch (const CryptokiError& error) {
    if (!SaysItIsGone(error)) throw;
    return std::nullopt;
  }
}

// No value when the reader is unplugged in between.
std::optional<Reader> ReaderNow(Slot& slot) {
  try {
    const bool present = slot.IsTokenPresent();
    Reader reader;
    reader.name = WithoutTrailingSpaces(slot.GetSlotDescription());
    if (present) reader.card = CardInNow(slot);
    return reader;
  } catch (const CryptokiError& error) {
    if (!SaysItIsGone(error)) throw;
    return std::nullopt;
  }
}

// The readers with a card: the one of that name, or all when `name` is empty. Raises Failure when there is none.
std::vector<Reader> OccupiedReaders(const std::string& name) {
  std::vector<Reader> occupied;
  for (const Reader& reader : ListReaders()) {
    if (reader.card && (name.empty() || reader.name == name)) occupied.push_back(reader);
  }
  if (occupied.empty()) {
    throw Failure(name.empty() ? "no card is in" : "no card is in a reader \"" + name + "\"", kNotThere,
                  "put the card in; \"telvotool doctor\" shows the readers");
  }
  return occupied;
}

[[noreturn]] void FailAsPulled(const std::string& what) {
  throw Failure(what + ": the card was pulled", kNotThere, "put the card in, and give the command anew");
}

}  // namespace

std::string ModuleDescription() {
  CryptokiInfo info = CCryptoWrapper::GetCryptoki()->GetInfo();
  return WithoutTrailingSpaces(info.libraryDescription) + " of " + WithoutTrailingSpaces(info.manufacturer);
}

std::vector<Reader> ListReaders() {
  std::vector<Reader> readers;
  for (Slot& slot : CCryptoWrapper::GetCryptoki()->GetAllSlots()) {
    if (const std::optional<Reader> reader = ReaderNow(slot)) readers.push_back(*reader);
  }
  return readers;
}

std::vector<std::string> ReadersWithCard(const std::string& name) {
  std::vector<std::string> names;
  for (const Reader& reader : OccupiedReaders(name)) names.push_back(reader.name);
  return names;
}

std::string OnlyReaderWithCard(const std::string& name) {
  const std::vector<std::string> names = ReadersWithCard(name);
  if (names.size() > 1) throw UsageError("several cards are in: name the reader by --reader");
  return names[0];
}

CardsIn::CardsIn(const std::string& reader) {
  for (const Reader& occupied : OccupiedReaders(reader)) m_serials[occupied.name] = occupied.card->serial;
}

bool CardsIn::AreStillIn() const {
  try {
    const std::vector<Reader> now = ListReaders();
    return std::all_of(m_serials.begin(), m_serials.end(), [&now](const auto& before) {
      return std::any_of(now.begin(), now.end(), [&before](const Reader& reader) {
        return reader.name == before.first && reader.card && reader.card->serial == before.second;
      });
    });
  } catch (const CryptokiError&) {
    return true;
  }
}

int WithCard(const std::string& reader, const std::function<int()>& work) {
  const CardsIn cards(reader);
  try {
    return work();
  } catch (const Failure& failure) {
    if (cards.AreStillIn()) throw;
    FailAsPulled(failure.what());
  } catch (const CryptokiError& error) {
    if (cards.AreStillIn()) throw;
    FailAsPulled(error.GetText());
  }
}

std::string TriesText(const std::string& reader) {
  for (const Reader& candidate : ListReaders()) {
    if (!candidate.card || (!reader.empty() && candidate.name != reader)) continue;
    if (candidate.card->locked) return "the PIN is locked";
    if (!candidate.card->tries) continue;
    const unsigned tries = *candidate.card->tries;
    return std::to_string(tries) + (tries == 1 ? " try is left" : " tries are left");
  }
  return "";
}

}  // namespace tool
