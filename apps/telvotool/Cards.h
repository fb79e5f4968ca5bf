// Readers and cards, as the PKCS #11 module tells of them. Nothing here asks for a PIN or offers one to a card.
#pragma once

#include <functional>
#include <map>
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

// All readers of the module, in its order. A card or reader that goes while it is looked at counts as gone. Raises
// CryptokiError.
std::vector<Reader> ListReaders();

// The readers that hold a card, or the one of that name alone when `name` is not empty. Raises Failure when there is
// none.
std::vector<std::string> ReadersWithCard(const std::string& name);

// The same, when it must be one; with several UsageError.
std::string OnlyReaderWithCard(const std::string& name);

// The cards that were in when the object was made.
class CardsIn {
 public:
  // As ReadersWithCard finds them. Raises Failure when there is none.
  explicit CardsIn(const std::string& reader);
  // False when one of them is gone, or another one in its place. True when the module does not tell.
  bool AreStillIn() const;

 private:
  std::map<std::string, std::string> m_serials;  // by reader
};

// Runs `work`, which needs a card from beginning to end, and returns its result. Without a card in the reader of that
// name, or in any when it is empty, Failure is raised at once. When `work` fails and the card is gone, that is its
// failure: a Failure with kNotThere that says so.
int WithCard(const std::string& reader, const std::function<int()>& work);

// "2 tries are left", "the PIN is locked" or nothing, for the card in `reader`; of the only card when `reader` is
// empty.
std::string TriesText(const std::string& reader);

}  // namespace tool
