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
  std::vector<std::string> has;    // the needs of the provider that the token meets
  std::vector<std::string> lacks;  // and those that it does not meet
};

struct AdapterModule {
  std::string description;         // maker, library and versions
  std::vector<AdapterSlot> slots;  // those with a token
};

// What the adapter does by itself for every module, in words for the user.
extern const char kEmulated[];

// Where the adapter finds its settings. The adapter is the `telvopkcs11.dll` that FindLibrary finds.
std::string AdapterSettingsPath();

// Loads the module, queries it and stops it again. Offers no PIN. Raises adapter::ModuleError when it cannot be used,
// and Failure when it does not list its slots.
AdapterModule Probe(const adapter::Settings& settings);

// "a, b and c".
std::string Listed(const std::vector<std::string>& words);

}  // namespace tool
