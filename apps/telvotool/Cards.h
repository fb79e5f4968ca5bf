// Readers and cards, as the PKCS #11 module reports them. Nothing here asks for a PIN or offers one to a card.
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
  std::optional<unsigned> tries;  // left after a wrong PIN; the card reports them only then
};

struct Reader {
  std::string name;
  std::optional<Card> card;
};

// The description and the version of the module. Raises CryptokiError when it cannot be loaded or started.
std::string ModuleDescription();

// All readers of the module, in its order. A card or reader that is removed during the call is left out. Raises
// CryptokiError.
std::vector<Reader> ListReaders();

// The readers that hold a card. When `name` is not empty only the reader of that name. Raises Failure when there is
// none.
std::vector<std::string> ReadersWithCard(const std::string& name);

// The same, when there must be exactly one. Raises UsageError when there are several.
std::string OnlyReaderWithCard(const std::string& name);

// The cards that were in their readers when the object was made.
class CardsIn {
 public:
  // As ReadersWithCard finds them. Raises Failure when there is none.
  explicit CardsIn(const std::string& reader);
  // False when one of them is gone or was replaced by another card. True when the module does not report that.
  bool AreStillIn() const;

 private:
  std::map<std::string, std::string> m_serials;  // by reader
};

// Runs `work`, which needs a card all the time, and returns its result. Raises Failure at once when there is no card in
// the reader of that name, or in any reader when the name is empty. When `work` fails and the card is gone, raises a
// Failure with kNotThere that says so.
int WithCard(const std::string& reader, const std::function<int()>& work);

// "2 tries are left", "the PIN is locked" or nothing, for the card in `reader`; of the only card when `reader` is
// empty.
std::string TriesText(const std::string& reader);

}  // namespace tool
