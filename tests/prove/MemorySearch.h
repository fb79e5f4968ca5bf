// MemorySearch: looks for secrets in all writable memory of the process: heap, stacks, data of every library.
//
// A secret counts as found when eight of its bytes that follow each other are there: as they are or in reverse order,
// under any mask of one byte, as text of one byte or of two (UTF-16) for each character.
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
  // The same in bytes that stand elsewhere, such as in a file.
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
  // The bytes at an address; how many of them can be read.
  std::size_t Read(std::uintptr_t address, BYTE* out, std::size_t length) const;
  void SearchRegion(const Region& region, std::vector<Found>& found);
  // Finds begin in the first `starts` bytes.
  void SearchBytes(const BYTE* bytes, std::size_t length, std::size_t starts, std::uintptr_t address,
                   const std::string& where, std::vector<Found>& found) const;
  void Compare(const BYTE* bytes, std::size_t place, unsigned stride, const Pattern& pattern, std::uintptr_t address,
               const std::string& where, std::vector<Found>& found) const;

  std::vector<Pattern> m_byFirstStep[256];
  std::vector<BYTE> m_chunk;  // holds copies of what is searched, and is wiped after each
  std::size_t m_searched = 0;
  int m_memory = -1;
};
