// The ordinary PKCS #11 module that the adapter puts behind the provider: what it and its tokens can do.
#pragma once

#include <string>
#include <vector>

#include "adapter/Settings.h"

namespace tool {

struct AdapterSlot {
  std::string reader;  // the slot's description
  std::string label, serial;
  bool initialised = false;
  bool isShown = true;             // false: the settings leave this token out
  std::vector<std::string> has;    // what the provider needs of the token itself
  std::vector<std::string> lacks;  // and what of that the token cannot do
};

struct AdapterModule {
  std::string description;         // maker, library and versions
  std::vector<AdapterSlot> slots;  // those with a token
};

// What the adapter does by itself for every module, in words for the user.
extern const char kEmulated[];

// Where the adapter finds its settings. `telvopkcs11.dll` is where the provider finds it, or else the system folder's.
std::string AdapterSettingsPath();

// Loads the module, asks it and stops it again. Offers no PIN. Raises adapter::ModuleError when it cannot be used, and
// Failure when it does not list its slots.
AdapterModule Probe(const adapter::Settings& settings);

// "a, b and c".
std::string Listed(const std::vector<std::string>& words);

}  // namespace tool
