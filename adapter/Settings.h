// The settings of the adapter: which module it uses, which of its tokens it shows, and how it treats them.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "pkcs11/SettingsFile.h"

namespace adapter {

using pkcs11::SettingsError;

// The provider's dialog reads a return code of 1 to 14 as the number of tries left, so there may be at most 15.
constexpr unsigned kMaxTries = 15;

// TokenName gives a reader's name to the slot of the token with this serial number, or else with this label.
struct TokenName {
  std::string serial, label, name;  // one of the first two is empty
};

// A string that is not set is empty.
struct Settings {
  std::string module;                   // a path, or a name that the system's loader finds
  std::string initialisation;           // what C_Initialize gets besides its flags
  std::string label, serial, reader;    // only tokens with all of these are shown
  unsigned tries = 3;                   // reported for a wrong PIN if the token's flags show nothing
  bool keepLogin = true;                // a logout of the provider does not reach the module
  std::chrono::seconds loginLife{300};  // after this time a kept login that is not used ends
  std::string defaultCertificate;       // a label
  std::string trace;                    // a path
  std::vector<TokenName> names;
};

// ParseSettings reads the content of a settings file, in UTF-8. Relative paths start at the folder of `fileName`; a
// module that is named without a folder is left to the system's loader. Throws SettingsError.
Settings ParseSettings(std::string_view text, const std::string& fileName);

// ReadSettings reads a file. Throws SettingsError.
Settings ReadSettings(const std::string& path);

// SettingsPath returns the file that LoadSettings reads: the one that the environment variable TELVO_ADAPTER_CONF
// names, else the one that the value AdapterSettings below the product's registry key names, else
// telvopkcs11-adapter.conf in the folder of the adapter.
std::string SettingsPath(const std::string& adapterFolder);

// LoadSettings reads the file of the adapter that this code is part of. Throws SettingsError.
Settings LoadSettings();

}  // namespace adapter
