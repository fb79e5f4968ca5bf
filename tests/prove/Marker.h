// Marker: a secret whose plain bytes the program never keeps. It stores them in a code that no search for the secret
// matches, not even one for the secret under a mask of one byte.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <string>
#include <vector>

#include "common/WipeMemory.h"

class Marker {
 public:
  enum class Kind { kText, kBytes };
  // `length` random characters or bytes, at least 8. No two neighbours are equal.
  Marker(std::string name, Kind kind, std::size_t length, unsigned seed);

  const std::string& Name() const { return m_name; }
  std::size_t Length() const { return m_coded.size(); }
  BYTE At(std::size_t place) const { return static_cast<BYTE>(m_coded[place] ^ CodeAt(place)); }
  // The difference of two neighbours. It is the same under any mask.
  BYTE Step(std::size_t place) const { return static_cast<BYTE>(At(place) ^ At(place + 1)); }
  bool Equals(const BYTE* bytes, std::size_t length) const;
  void CopyTo(BYTE* out) const;

  // Calls `use(BYTE* bytes, DWORD length)` with the secret in a buffer that is wiped afterwards. A zero byte follows
  // it.
  template <typename Use>
  auto Reveal(Use use) const {
    WipedBuffer plain(Length() + 1);
    CopyTo(plain.Data());
    return use(plain.Data(), static_cast<DWORD>(Length()));
  }

  // The code of a place: the same XOR encodes and decodes its byte. Neighbours have different codes.
  static BYTE CodeAt(std::size_t place) { return static_cast<BYTE>((place + 3) * (place + 7) * 29U + 0x6BU); }

 private:
  std::string m_name;
  std::vector<BYTE> m_coded;
};
