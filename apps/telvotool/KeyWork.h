// Calls of CryptoAPI with bytes in and out, for work with this provider and with the system's own. Each raises a
// Failure that begins with `what`.
#pragma once

#include "common/Platform.h"

#include <string>

#include "telvotool/Files.h"
#include "telvotool/Handles.h"

namespace tool {

// A context without a container of one of the system's own providers.
ProviderHandle SystemProvider(const char* name, DWORD type);

Bytes Reversed(const Bytes& bytes);

HashHandle HashOf(HCRYPTPROV provider, ALG_ID algorithm, const Bytes& data, const std::string& what);
Bytes ValueOf(HCRYPTHASH hash, const std::string& what);
// With the container's key. The signature is little-endian.
Bytes SignatureOf(HCRYPTHASH hash, const std::string& what);
// False for a signature that is not valid.
bool Holds(HCRYPTHASH hash, const Bytes& signature, HCRYPTKEY key, const std::string& what);

KeyHandle NewKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, const std::string& what);
// The blob has the length that the length query returned: the provider reports too short a length after it has written
// a SIMPLEBLOB.
Bytes Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, const std::string& what);
KeyHandle Import(HCRYPTPROV provider, const Bytes& blob, HCRYPTKEY exchangeKey, const std::string& what);

// Sets the mode CBC and an IV of `block` bytes that is always the same.
void UseCbc(HCRYPTKEY key, std::size_t block, const std::string& what);
// Encrypts whole blocks without padding.
Bytes EncryptedBlocks(HCRYPTKEY key, const Bytes& plain, const std::string& what);
// Encrypts with padding, which adds at most `room` bytes. Not for session keys of this provider.
Bytes EncryptedWithPadding(HCRYPTKEY key, const Bytes& plain, std::size_t room, const std::string& what);
Bytes Decrypted(HCRYPTKEY key, bool hasPadding, const Bytes& encrypted, const std::string& what);

}  // namespace tool
