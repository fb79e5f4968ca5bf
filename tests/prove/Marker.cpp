#include "Marker.h"

#include <random>
#include <utility>

Marker::Marker(std::string name, Kind kind, std::size_t length, unsigned seed) : m_name(std::move(name)) {
  std::mt19937 random(seed);
  int before = -1;
  for (std::size_t place = 0; place < length; ++place) {
    int fresh = before;
    while (fresh == before) {
      const auto number = static_cast<unsigned>(random());
      fresh = static_cast<int>(kind == Kind::kText ? '!' + number % 94 : 1 + number % 255);
    }
    before = fresh;
    m_coded.push_back(static_cast<BYTE>(static_cast<BYTE>(fresh) ^ CodeAt(place)));
  }
}

bool Marker::Equals(const BYTE* bytes, std::size_t length) const {
  if (length != Length()) return false;
  for (std::size_t place = 0; place < length; ++place) {
    if (bytes[place] != At(place)) return false;
  }
  return true;
}

// Byte by byte: a copy of several bytes at once would leave them in a register, and then on the stack.
void Marker::CopyTo(BYTE* out) const {
  volatile BYTE* const slow = out;
  for (std::size_t place = 0; place < Length(); ++place) slow[place] = At(place);
}
