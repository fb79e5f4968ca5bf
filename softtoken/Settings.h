// The settings file of the software token: which cards there are, in which readers. README.md describes the keys.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SharedNames.h"
#include "pkcs11/SettingsFile.h"

namespace softtoken {

// Limits of a PIN, in bytes.
constexpr std::size_t kMinPinLength = 4;
constexpr std::size_t kMaxPinLength = 16;

// The provider's dialog reads a return code of 1 to 14 as the number of tries left, so a card may have at most 15.
constexpr unsigned kMaxTries = 15;

enum class PresenceKind { Always, Never, File, Reader, Looks };

// The result of C_LoginExtended for a wrong PIN while tries are left.
enum class WrongPinAnswer { Tries, Incorrect };

struct SlotSettings {
  std::string reader;              // slot description, at most 64 bytes
  std::string label;               // token label, at most 32 bytes
  std::string serial;              // 16 letters and digits; names the card's files in the state folder
  Secret pin, soPin;               // given to the card when it is made
  unsigned tries = 3;              // for either PIN
  std::string defaultCertificate;  // label of the default certificate; empty: no certificate is the default
  PresenceKind presence = PresenceKind::Always;
  std::string presenceFile;    // absolute, for PresenceKind::File
  unsigned presenceLooks = 0;  // for PresenceKind::Looks
};

struct Settings {
  std::string stateFolder;  // absolute
  std::string softHsm = "/usr/lib/softhsm/libsofthsm2.so";
  WrongPinAnswer wrongPin = WrongPinAnswer::Tries;
  bool noReaders = false;           // there are no slots, and no [slot] may follow
  std::vector<SlotSettings> slots;  // readers and serials are unique
};

using pkcs11::SettingsError;

// ParseSettings reads the content of a settings file. Relative paths in it start at the folder of `fileName`. Without a
// `state` line the state folder is `defaultState`; if that has no value, the line is needed. Throws SettingsError.
Settings ParseSettings(std::string_view text, const std::string& fileName,
                       const std::optional<std::string>& defaultState);

// LoadSettings reads the file that the environment variable TELVO_SOFTTOKEN_CONF names, or else
// ~/.config/telvopkcs11.conf. With neither it returns the default settings, which have one slot. Throws SettingsError.
Settings LoadSettings();

}  // namespace softtoken
