// Readers and cards, as the PKCS #11 module tells of them. Nothing here asks for a PIN or offers one to a card.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tool {

struct Card {
  std::string label;
  std::string serial;
  bool initialised = true;
  bool locked = false;            // the PIN
  std::optional<unsigned> tries;  // that are left, where the card tells: after a wrong PIN
};

struct Reader {
  std::string name;
  std::optional<Card> card;
};

// What the module says of itself: its description and version. Raises CryptokiError when it cannot be loaded or
// started.
std::string ModuleDescription();

// All readers of the module, in its order. Raises CryptokiError.
std::vector<Reader> ListReaders();

// The readers that hold a card, or the one of that name alone when `name` is not empty. Raises Failure when there is
// none.
std::vector<std::string> ReadersWithCard(const std::string& name);

// The same, when it must be one; with several UsageError.
std::string OnlyReaderWithCard(const std::string& name);

// "2 tries are left", "the PIN is locked" or nothing, for the card in `reader`; of the only card when `reader` is
// empty.
std::string TriesText(const std::string& reader);

}  // namespace tool
