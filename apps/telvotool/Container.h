// Containers: opening them through CryptoAPI, their key and their certificate.
#pragma once

#include "common/Platform.h"

#include <string>
#include <vector>

#include "telvotool/Files.h"
#include "telvotool/Handles.h"
#include "telvotool/Options.h"
#include "telvotool/Pin.h"

namespace tool {

extern const char kProviderName[];

// Which container: its name, and the reader if it was named. Both may be empty.
struct Target {
  std::string reader;
  std::string name;

  // The form in which the provider takes them: "\\.\reader\name", "name", or nothing.
  std::string FullName() const;
};

// Acquires the provider. An empty `container` is handed over as a null pointer. Raises Failure.
ProviderHandle Acquire(const std::string& container, DWORD flags, const std::string& what);

// An open container that exists.
struct Container {
  ProviderHandle provider;
  KeyHandle key;
};

// Opens a container that has a private key; by the PIN, if there is one, and without dialogs then. Raises Failure.
Container OpenContainer(const Target& target, const Pin& pin);
// Makes a container, which holds nothing yet. Raises Failure, also for a name that could not be found again.
ProviderHandle NewContainer(const Target& target, const Pin& pin);
// Deletes all objects of a container on the card. Raises Failure, also when objects remain.
void RemoveContainer(const Target& target, const Pin& pin);

// The size of a key in bits.
DWORD KeyBits(HCRYPTKEY key);
// The certificate that the container has on the card, as DER; empty when it has none.
Bytes CertificateOf(HCRYPTKEY key);
void PutCertificate(HCRYPTKEY key, const Bytes& der);

// The names of the containers of the card in a reader that have a certificate: those without are not told by the
// provider.
std::vector<std::string> ContainersIn(const std::string& reader);

}  // namespace tool
