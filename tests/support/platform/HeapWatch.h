// HeapWatch: what stood in a heap block at the moment it was given back. HeapSearch: whether a secret stood in any
// block. HeapKeeper: blocks that are given back stay as they were. All see memory of new and of new[]. HeapGuard: is
// asked for each block.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

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

class HeapSearch {
 public:
  // Looks for these bytes, which must live as long, in each block that is given back from now on.
  explicit HeapSearch(const std::vector<std::string_view>& secrets);
  ~HeapSearch();
  HeapSearch(const HeapSearch&) = delete;
  HeapSearch& operator=(const HeapSearch&) = delete;

  // The secrets that were found in one.
  std::vector<std::string_view> Found() const;

  // Looks into a block. Gets and gives back no memory.
  void LookInto(const char* block, std::size_t length) noexcept;

 private:
  struct Secret {
    std::string_view bytes;
    bool found;
  };
  std::vector<Secret> m_secrets;
};

// While it lives, blocks that are given back are not used again, so that what was left in them is still there. Its
// destructor returns them. Not for programs with a sanitizer that has the heap: there it does nothing.
class HeapKeeper {
 public:
  HeapKeeper();
  ~HeapKeeper();
  HeapKeeper(const HeapKeeper&) = delete;
  HeapKeeper& operator=(const HeapKeeper&) = delete;
};

// Is asked for each block of new and new[], and told of each that is given back. One at a time. Gets no memory by
// itself. With sanitizers it serves only a program that has SanitizedHeap.cpp.
class HeapGuard {
 public:
  HeapGuard();
  virtual ~HeapGuard();
  HeapGuard(const HeapGuard&) = delete;
  HeapGuard& operator=(const HeapGuard&) = delete;

  // False: there is no memory for it.
  virtual bool Allows(std::size_t length) noexcept = 0;
  virtual void OnGiven(char* block, std::size_t length) noexcept = 0;
  // The bytes are still there.
  virtual void OnReleased(const char* block, std::size_t length) noexcept = 0;
};

// What operator new and operator delete do.
void* AllocateGuarded(std::size_t size);
void ReleaseGuarded(void* block) noexcept;
