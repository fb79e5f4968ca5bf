// What a card stores besides its objects.
#pragma once

#include <cstdint>
#include <string>

#include "SharedNames.h"

namespace softtoken {

enum class PinOwner { User, SecurityOfficer };

// PinCheck is the result of offering a PIN.
struct PinCheck {
  bool right;
  unsigned triesLeft;  // after this try; 0: the PIN is locked
};

// CardFile is one small file of the state folder. It holds a salted digest of each of the card's PINs, for each PIN the
// number of wrong tries since the last right one, and the name and key of the card's store in SoftHSM.
//
// Processes share a card as they would share a real one, so every operation locks the file and reads it again. All
// throw std::system_error if the file cannot be read or written, std::runtime_error if it is damaged.
class CardFile {
 public:
  // The file is `<stateFolder>/<serial>.card`. `tries` is how many each PIN has.
  CardFile(const std::string& stateFolder, const std::string& serial, unsigned tries);

  // Exists tells whether the card has been made.
  bool Exists() const;

  // Make writes the file of a new card with these PINs and a random store name and key.
  void Make(const Secret& pin, const Secret& soPin) const;

  // Offer compares a PIN and counts the try. When the PIN is locked it compares nothing.
  PinCheck Offer(PinOwner owner, const unsigned char* pin, std::size_t length) const;

  // Change is Offer of the old PIN and, if it is right, Set of the new one, under one lock.
  PinCheck Change(PinOwner owner, const unsigned char* pin, std::size_t length, const Secret& fresh) const;

  // Set stores a new PIN, with all its tries.
  void Set(PinOwner owner, const Secret& fresh) const;

  // WrongTries is the number of wrong tries since the last right one, at most the number of tries.
  unsigned WrongTries(PinOwner owner) const;
  unsigned Tries() const { return m_tries; }

  // The 32 characters of the store's label in SoftHSM, and the store's key: the PIN that SoftHSM asks for.
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
