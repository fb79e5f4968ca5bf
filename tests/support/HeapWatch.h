// What stood in heap blocks at the moment they were given back.
#pragma once

#include <cstddef>
#include <string>

// HeapWatch: one block, of new[].
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

// HeapSearch: every block, of new and new[], for bytes that should have been wiped. One at a time.
class HeapSearch {
 public:
  // Searches what is given back from now on. The bytes stay the caller's.
  HeapSearch(const void* bytes, std::size_t length);
  ~HeapSearch();
  HeapSearch(const HeapSearch&) = delete;
  HeapSearch& operator=(const HeapSearch&) = delete;

  // Whether they stood in any block.
  bool WereFound() const;
};
