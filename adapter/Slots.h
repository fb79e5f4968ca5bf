// The slots as the provider sees them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "adapter/Module.h"
#include "adapter/Settings.h"
#include "cryptoki/Pkcs11.h"

namespace adapter {

// One slot of the module. Strings have no padding.
struct Slot {
  CK_SLOT_ID lower = 0;
  bool listed = false;        // the module lists it
  bool isIn = false;          // a token that can be used is in it
  CK_SLOT_INFO info = {};     // as the module gave it
  CK_TOKEN_INFO token = {};   // when isIn
  std::string name;           // the slot's description: not empty, and no other slot's
  std::string label, serial;  // the token's; the serial is not empty, and not zero
};

// Slots gives each slot of the module its own id: 0, 1, 2 and so on, in the order in which the module first listed
// them. An id stays with its slot for as long as the process runs. The settings may name slots, and may limit them to
// those with one label, serial number or reader.
class Slots {
 public:
  Slots(Module& module, const Settings& settings) : m_module(module), m_settings(settings) {}

  // Refresh asks the module for its slots and tokens. Throws Failure.
  void Refresh();

  // At throws Failure{CKR_SLOT_ID_INVALID} for a slot that is not there or that the settings leave out.
  const Slot& At(CK_SLOT_ID slot) const;
  // The ids of the slots that are shown; with `tokenPresent` only those with a token.
  std::vector<CK_SLOT_ID> List(bool tokenPresent) const;
  std::size_t Count() const { return m_slots.size(); }
  const Slot& Known(CK_SLOT_ID slot) const { return m_slots[slot]; }

 private:
  std::vector<CK_SLOT_ID> ListLower();
  void Look(Slot& slot);
  void Name(std::size_t index);
  std::string GivenName(const Slot& slot) const;
  bool IsTaken(const std::string& name, std::size_t before) const;
  bool IsShown(const Slot& slot) const;

  Module& m_module;
  const Settings& m_settings;
  std::vector<Slot> m_slots;  // the index is the id
};

// PlainText returns the string in a fixed field: up to the first zero byte, without control characters and without
// spaces at its end.
std::string PlainText(const CK_UTF8CHAR* field, std::size_t size);

// SerialOf returns a token's serial number; for one that is blank or all zeros, 16 hexadecimal digits that stay the
// same for this manufacturer, model and label.
std::string SerialOf(const CK_TOKEN_INFO& token);

// Fill writes a string into a fixed field, padded with spaces, and cut off if it is too long.
template <std::size_t Size>
void Fill(CK_UTF8CHAR (&field)[Size], const std::string& text) {
  for (std::size_t i = 0; i < Size; ++i)
    field[i] = i < text.size() ? static_cast<CK_UTF8CHAR>(text[i]) : CK_UTF8CHAR{' '};
}

}  // namespace adapter
