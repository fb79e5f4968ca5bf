// MemorySearch: searches all writable memory of the process for secrets: heap, stacks, data of every library.
//
// A secret counts as found when eight consecutive bytes of it are there: in either order, under any mask of one byte,
// as text with one byte or two (UTF-16) for each character.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Marker.h"

struct Found {
  std::string secret;
  bool masked;  // under a mask other than 0
  bool wide;
  bool reversed;
  std::size_t length;  // how many bytes of it
  std::uintptr_t address;
  std::string where;  // the mapping or the kind of memory

  std::string Text() const;
};

class MemorySearch {
 public:
  explicit MemorySearch(const std::vector<const Marker*>& markers);
  MemorySearch(const MemorySearch&) = delete;
  MemorySearch& operator=(const MemorySearch&) = delete;

  std::vector<Found> Run();
  // The same for bytes from elsewhere, such as a file.
  std::vector<Found> RunOn(const std::string& bytes);
  // How many bytes the last run looked at.
  std::size_t Searched() const { return m_searched; }

 private:
  struct Pattern {
    const Marker* marker;
    bool reversed;
    std::size_t place;
    BYTE steps[7];
  };
  struct Region {
    std::uintptr_t start;
    std::uintptr_t end;
    std::string where;
  };

  static std::vector<Region> WritableRegions();
  // Reads the bytes at an address. Returns how many could be read.
  std::size_t Read(std::uintptr_t address, BYTE* out, std::size_t length) const;
  void SearchRegion(const Region& region, std::vector<Found>& found);
  // Looks for secrets that begin in the first `starts` bytes.
  void SearchBytes(const BYTE* bytes, std::size_t length, std::size_t starts, std::uintptr_t address,
                   const std::string& where, std::vector<Found>& found) const;
  void Compare(const BYTE* bytes, std::size_t place, unsigned stride, const Pattern& pattern, std::uintptr_t address,
               const std::string& where, std::vector<Found>& found) const;

  std::vector<Pattern> m_byFirstStep[256];
  std::vector<BYTE> m_chunk;  // a copy of the part that is searched, wiped after each
  std::size_t m_searched = 0;
  int m_memory = -1;
};
