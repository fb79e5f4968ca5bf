// Bytes that must be wiped after use: PINs, keys, and strings that contain them.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace pkcs11 {

// Wipe overwrites memory with zero. The compiler cannot optimise it away.
inline void Wipe(void* memory, std::size_t length) {
  volatile unsigned char* byte = static_cast<unsigned char*>(memory);
  while (length-- != 0) *byte++ = 0;
}

// WipingAllocator overwrites memory before it is released, so that a growing vector leaves no copy in memory.
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <typename U>
  WipingAllocator(const WipingAllocator<U>& /*other*/) {}  // NOLINT(google-explicit-constructor)

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, std::size_t count) {
    Wipe(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }

  bool operator==(const WipingAllocator& /*other*/) const { return true; }
  bool operator!=(const WipingAllocator& /*other*/) const { return false; }
};

// A vector and not a string: a short string is stored inside its object, without the allocator.
using Secret = std::vector<unsigned char, WipingAllocator<unsigned char>>;

inline Secret MakeSecret(std::string_view text) { return {text.begin(), text.end()}; }

inline std::string_view TextOf(const Secret& secret) {
  return {reinterpret_cast<const char*>(secret.data()), secret.size()};
}

}  // namespace pkcs11
