// What a card remembers beside its objects.
#pragma once

#include <cstdint>
#include <string>

#include "Secret.h"

namespace softtoken {

enum class PinOwner { User, SecurityOfficer };

// PinCheck is the outcome of offering a PIN.
struct PinCheck {
  bool right;
  unsigned triesLeft;  // after this try; 0: the PIN is locked
};

// CardFile keeps, in one small file of the state folder, a salted digest of each of a card's PINs, the number of wrong
// tries of each since it was last given rightly, and the name and key of the card's store in SoftHSM.
//
// Processes share a card as they would share a real one, so every operation reads the file afresh and holds a lock on
// it. All throw std::system_error if the file cannot be read or written, std::runtime_error if it is damaged.
class CardFile {
 public:
  // The file is `<stateFolder>/<serial>.card`. `tries` is how many each PIN has.
  CardFile(const std::string& stateFolder, const std::string& serial, unsigned tries);

  // Exists says whether the card has been made.
  bool Exists() const;

  // Make writes the file of a new card with these PINs and a random store name and key.
  void Make(const Secret& pin, const Secret& soPin) const;

  // Offer checks a PIN, and counts. A locked PIN is not compared at all.
  PinCheck Offer(PinOwner owner, const unsigned char* pin, std::size_t length) const;

  // Change is Offer of the old PIN, followed in the same breath by Set if it was right.
  PinCheck Change(PinOwner owner, const unsigned char* pin, std::size_t length, const Secret& fresh) const;

  // Set gives a new PIN, with all its tries.
  void Set(PinOwner owner, const Secret& fresh) const;

  // WrongTries counts since the PIN was last given rightly; not above the number of tries.
  unsigned WrongTries(PinOwner owner) const;
  unsigned Tries() const { return m_tries; }

  // The 32 characters that label the card's store in SoftHSM, and its key: the PIN that SoftHSM wants.
  std::string StoreName() const;
  Secret StoreKey() const;

 private:
  struct Content;
  Content Read() const;
  void Write(const Content& content) const;
  PinCheck OfferTo(Content& content, PinOwner owner, const unsigned char* pin, std::size_t length) const;

  std::string m_path, m_lockPath, m_serial;
  unsigned m_tries;
};

}  // namespace softtoken
