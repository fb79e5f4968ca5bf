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

// A container: its name, and the reader if the user named one. Both may be empty.
struct Target {
  std::string reader;
  std::string name;

  // The name for the provider: "\\.\reader\name", "name" or the empty string.
  std::string FullName() const;
};

// Acquires the provider. An empty `container` becomes a null pointer. Raises Failure.
ProviderHandle Acquire(const std::string& container, DWORD flags, const std::string& what);

// An open container that exists.
struct Container {
  ProviderHandle provider;
  KeyHandle key;
};

// Opens a container that has a private key. With a PIN it is used to log in, and no dialog is shown. Raises Failure.
Container OpenContainer(const Target& target, const Pin& pin);
// Makes an empty container. Raises Failure; UsageError for a name under which it could not be found again.
ProviderHandle NewContainer(const Target& target, const Pin& pin);
// Deletes all objects of a container on the card. Raises Failure, also when objects remain.
void RemoveContainer(const Target& target, const Pin& pin);

// The size of a key in bits.
DWORD KeyBits(HCRYPTKEY key);
// The container's certificate on the card, as DER; empty when it has none.
Bytes CertificateOf(HCRYPTKEY key);
void PutCertificate(HCRYPTKEY key, const Bytes& der);

// The names of the containers of the card in a reader. The provider lists only those that have a certificate.
std::vector<std::string> ContainersIn(const std::string& reader);

}  // namespace tool
