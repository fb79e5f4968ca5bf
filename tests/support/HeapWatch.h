// HeapWatch: what stood in a heap block at the moment it was given back. Works for memory of new[].
#pragma once

#include <cstddef>
#include <string>

class HeapWatch {
 public:
  // Watches `length` bytes at `block`, which is alive now.
  HeapWatch(const void* block, std::size_t length);
  ~HeapWatch();
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;

  bool WasReleased() const;
  // Whether every byte was zero when the block was given back.
  bool WasWiped() const;
};
