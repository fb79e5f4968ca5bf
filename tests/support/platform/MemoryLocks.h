// MemoryLocks: records the calls that keep memory out of the page file. A program that has this locks no memory.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

class MemoryLocks {
 public:
  // "lock" or "unlock", the address, and the number of bytes.
  using Calls = std::vector<std::tuple<std::string, const void*, std::size_t>>;

  // Records the calls of one thread from now on. Each returns `result`.
  explicit MemoryLocks(BOOL result = TRUE);
  ~MemoryLocks();
  MemoryLocks(const MemoryLocks&) = delete;
  MemoryLocks& operator=(const MemoryLocks&) = delete;

  // The calls since the last TakeCalls.
  Calls TakeCalls();

  // Runs for every call.
  static BOOL Answer(const char* name, const void* address, std::size_t length);

 private:
  BOOL m_result;
  Calls m_calls;
};
