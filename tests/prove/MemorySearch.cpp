#include "MemorySearch.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#if !defined(_WIN32)
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <unistd.h>
#endif

namespace {

constexpr std::size_t kLeast = 8;  // bytes of a secret that count as a find
constexpr std::size_t kChunk = std::size_t{1} << 20U;
constexpr std::size_t kOverlap = 256;
constexpr std::size_t kPage = 4096;

// Consecutive bytes of a secret differ, so an empty page has none.
bool IsEmptyPage(const BYTE* bytes, std::size_t length) {
  static const BYTE zeros[kPage] = {};
  return length >= kPage && std::memcmp(bytes, zeros, kPage) == 0;
}

}  // namespace

std::string Found::Text() const {
  char place[40] = {};
  std::snprintf(place, sizeof(place), "%p", reinterpret_cast<void*>(address));
  return secret + ": " + std::to_string(length) + " bytes" + (masked ? ", masked" : ", plain") +
         (wide ? ", UTF-16" : "") + (reversed ? ", reversed" : "") + ", in " + where + " at " + place;
}

MemorySearch::MemorySearch(const std::vector<const Marker*>& markers) : m_chunk(kChunk + kOverlap) {
  for (const Marker* marker : markers) {
    for (const bool reversed : {false, true}) {
      for (std::size_t place = 0; place + kLeast <= marker->Length(); ++place) {
        Pattern pattern = {marker, reversed, place, {}};
        for (std::size_t i = 0; i + 1 < kLeast; ++i) {
          pattern.steps[i] = marker->Step(reversed ? place + kLeast - 2 - i : place + i);
        }
        m_byFirstStep[pattern.steps[0]].push_back(pattern);
      }
    }
  }
}

std::vector<Found> MemorySearch::Run() {
  m_searched = 0;
#if !defined(_WIN32)
  m_memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
#endif
  std::vector<Found> found;
  for (const Region& region : WritableRegions()) SearchRegion(region, found);
#if !defined(_WIN32)
  close(m_memory);
#endif
  return found;
}

std::vector<Found> MemorySearch::RunOn(const std::string& bytes) {
  std::vector<Found> found;
  SearchBytes(reinterpret_cast<const BYTE*>(bytes.data()), bytes.size(), bytes.size(), 0, "the file", found);
  return found;
}

void MemorySearch::SearchRegion(const Region& region, std::vector<Found>& found) {
  const auto own = reinterpret_cast<std::uintptr_t>(m_chunk.data());
  for (std::uintptr_t address = region.start; address < region.end;) {
    // Skips the search's own copies.
    if (address >= own && address < own + m_chunk.size()) {
      address = own + m_chunk.size();
      continue;
    }
    const std::uintptr_t end = address < own ? std::min(region.end, own) : region.end;
    const std::size_t length = std::min<std::size_t>(end - address, kChunk + kOverlap);
    const std::size_t read = Read(address, m_chunk.data(), length);
    SearchBytes(m_chunk.data(), read, kChunk, address, region.where, found);
    WipeMemory(m_chunk.data(), read);
    m_searched += std::min(read, kChunk);
    address += std::min(length, kChunk);
  }
}

void MemorySearch::SearchBytes(const BYTE* bytes, std::size_t length, std::size_t starts, std::uintptr_t address,
                               const std::string& where, std::vector<Found>& found) const {
  for (std::size_t place = 0; place < starts && place + kLeast <= length; ++place) {
    if (place % kPage == 0 && IsEmptyPage(bytes + place, length - place)) {
      place += kPage - 1;
      continue;
    }
    for (const unsigned stride : {1U, 2U}) {
      if (place + kLeast * stride > length) break;
      const auto step = static_cast<BYTE>(bytes[place] ^ bytes[place + stride]);
      if (step == 0) continue;
      for (const Pattern& pattern : m_byFirstStep[step]) {
        Compare(bytes, place, stride, pattern, address, where, found);
      }
    }
  }
}

void MemorySearch::Compare(const BYTE* bytes, std::size_t place, unsigned stride, const Pattern& pattern,
                           std::uintptr_t address, const std::string& where, std::vector<Found>& found) const {
  for (std::size_t i = 0; i + 1 < kLeast; ++i) {
    const BYTE* const here = bytes + place + i * stride;
    if ((here[0] ^ here[stride]) != pattern.steps[i]) return;
    if (stride == 2 && here[1] != bytes[place + 1]) return;
  }
  const Marker& marker = *pattern.marker;
  const BYTE first = marker.At(pattern.reversed ? pattern.place + kLeast - 1 : pattern.place);
  const std::uintptr_t at = address + place;
  // A match that continues at the next byte extends the previous find.
  if (!found.empty() && found.back().secret == marker.Name() && found.back().where == where &&
      found.back().address + (found.back().length - kLeast + 1) * stride == at) {
    ++found.back().length;
    return;
  }
  found.push_back({marker.Name(), bytes[place] != first, stride == 2, pattern.reversed, kLeast, at, where});
}

#if defined(_WIN32)

std::vector<MemorySearch::Region> MemorySearch::WritableRegions() {
  constexpr DWORD kWritable = PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  std::vector<Region> regions;
  MEMORY_BASIC_INFORMATION info = {};
  for (const char* at = nullptr; VirtualQuery(at, &info, sizeof(info)) != 0;) {
    const auto start = reinterpret_cast<std::uintptr_t>(info.BaseAddress);
    const bool isWritable = info.State == MEM_COMMIT && (info.Protect & kWritable) != 0 &&
                            (info.Protect & (PAGE_GUARD | PAGE_NOACCESS)) == 0;
    if (isWritable) {
      char name[MAX_PATH] = "private memory";
      if (info.Type == MEM_IMAGE) GetModuleFileNameA(static_cast<HMODULE>(info.AllocationBase), name, sizeof(name));
      if (info.Type == MEM_MAPPED) std::strcpy(name, "a mapping");
      regions.push_back({start, start + info.RegionSize, name});
    }
    const char* const next = static_cast<const char*>(info.BaseAddress) + info.RegionSize;
    if (next <= at) break;
    at = next;
  }
  return regions;
}

std::size_t MemorySearch::Read(std::uintptr_t address, BYTE* out, std::size_t length) const {
  SIZE_T read = 0;
  const BOOL done = ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), out, length, &read);
  return done != FALSE ? read : 0;
}

#else

std::vector<MemorySearch::Region> MemorySearch::WritableRegions() {
  std::vector<Region> regions;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    Region region = {};
    char rights[8] = {};
    int name = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx %7s %*s %*s %*s %n", &region.start, &region.end, rights, &name) != 3)
      continue;
    if (rights[1] != 'w') continue;
    region.where = line.substr(std::min<std::size_t>(static_cast<std::size_t>(name), line.size()));
    if (region.where.empty()) region.where = "memory without a name";
    regions.push_back(region);
  }
  return regions;
}

std::size_t MemorySearch::Read(std::uintptr_t address, BYTE* out, std::size_t length) const {
  const ssize_t read = pread(m_memory, out, length, static_cast<off_t>(address));
  return read > 0 ? static_cast<std::size_t>(read) : 0;
}

#endif
