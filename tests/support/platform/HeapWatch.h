// HeapWatch: the contents of a heap block at the moment it is freed. HeapSearch: whether any freed block holds a
// secret. HeapKeeper: freed blocks keep their contents. HeapGuard: allows or refuses each allocation. All cover new
// and new[].
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

class HeapWatch {
 public:
  // Watches `length` bytes at `block`, which must be allocated.
  HeapWatch(const void* block, std::size_t length);
  ~HeapWatch();
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;

  bool WasReleased() const;
  // Whether every byte was zero when the block was freed.
  bool WasWiped() const;
};

class HeapSearch {
 public:
  // Looks for these bytes in each block that is freed from now on. They must outlive this object.
  explicit HeapSearch(const std::vector<std::string_view>& secrets);
  ~HeapSearch();
  HeapSearch(const HeapSearch&) = delete;
  HeapSearch& operator=(const HeapSearch&) = delete;

  // The secrets that were found in a block.
  std::vector<std::string_view> Found() const;

  // Searches a block. Neither allocates nor frees memory.
  void LookInto(const char* block, std::size_t length) noexcept;

 private:
  struct Secret {
    std::string_view bytes;
    bool found;
  };
  std::vector<Secret> m_secrets;
};

// While it lives, freed blocks are not used again, so that their contents remain. Its destructor frees them. It
// does nothing in a program whose sanitizer owns the heap.
class HeapKeeper {
 public:
  HeapKeeper();
  ~HeapKeeper();
  HeapKeeper(const HeapKeeper&) = delete;
  HeapKeeper& operator=(const HeapKeeper&) = delete;
};

// Is asked before each block of new and new[], and sees each block that is allocated or freed. One instance at a
// time. Allocates no memory itself. With AddressSanitizer it works only in a program that has SanitizedHeap.cpp.
class HeapGuard {
 public:
  HeapGuard();
  virtual ~HeapGuard();
  HeapGuard(const HeapGuard&) = delete;
  HeapGuard& operator=(const HeapGuard&) = delete;

  // False: the allocation fails.
  virtual bool Allows(std::size_t length) noexcept = 0;
  virtual void OnGiven(char* block, std::size_t length) noexcept = 0;
  // The bytes are still there.
  virtual void OnReleased(const char* block, std::size_t length) noexcept = 0;
};

// What operator new and operator delete do.
void* AllocateGuarded(std::size_t size);
void ReleaseGuarded(void* block) noexcept;
