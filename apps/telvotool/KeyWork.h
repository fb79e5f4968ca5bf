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
// By the container's key. The lowest byte is the first.
Bytes SignatureOf(HCRYPTHASH hash, const std::string& what);
// False for a signature that does not hold.
bool Holds(HCRYPTHASH hash, const Bytes& signature, HCRYPTKEY key, const std::string& what);

KeyHandle NewKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, const std::string& what);
// A blob as long as the question for its length says: the provider tells the length of a SIMPLEBLOB short afterwards.
Bytes Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, const std::string& what);
KeyHandle Import(HCRYPTPROV provider, const Bytes& blob, HCRYPTKEY exchangeKey, const std::string& what);

// Sets the mode CBC and an IV of `block` bytes that is always the same.
void UseCbc(HCRYPTKEY key, std::size_t block, const std::string& what);
// Encrypts whole blocks without a padding.
Bytes EncryptedBlocks(HCRYPTKEY key, const Bytes& plain, const std::string& what);
// Encrypts with a padding, which takes at most `room` bytes more. Not for session keys of this provider.
Bytes EncryptedWithPadding(HCRYPTKEY key, const Bytes& plain, std::size_t room, const std::string& what);
Bytes Decrypted(HCRYPTKEY key, bool hasPadding, const Bytes& encrypted, const std::string& what);

}  // namespace tool
