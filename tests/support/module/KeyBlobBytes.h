// Key blobs, byte for byte.
#pragma once

#include "module/ScriptedObjects.h"

inline Bytes Reversed(const Bytes& bytes) { return Bytes(bytes.rbegin(), bytes.rend()); }

inline Bytes Joined(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

// The two low bytes of a number, little-endian.
inline Bytes Low16(unsigned number) {
  return {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8U)};
}

// A PUBLICKEYBLOB. `modulus` is big-endian; the exponent is 65537.
inline Bytes PublicKeyBlob(unsigned algorithm, const Bytes& modulus) {
  Bytes blob = Joined({6, 2, 0, 0}, Low16(algorithm));
  blob = Joined(blob, {0, 0, 'R', 'S', 'A', '1'});
  blob = Joined(blob, Low16(static_cast<unsigned>(modulus.size() * 8)));
  blob = Joined(blob, {0, 0, 1, 0, 1, 0});
  return Joined(blob, Reversed(modulus));
}

// A SIMPLEBLOB with an encrypted key, which is copied unchanged.
inline Bytes SimpleBlob(unsigned algorithm, const Bytes& encrypted) {
  return Joined(Joined(Joined({1, 2, 0, 0}, Low16(algorithm)), {0, 0, 0x00, 0xA4, 0, 0}), encrypted);
}

// The scripted module's encryption of a key, with a public key of `modulusBytes`.
inline Bytes EncryptedKey(const Bytes& key, std::size_t modulusBytes) {
  Bytes block(modulusBytes - key.size() - 1, 'E');
  block.push_back(0);
  return Joined(block, key);
}
