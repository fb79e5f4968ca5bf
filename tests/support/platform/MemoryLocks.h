// MemoryLocks: what is asked of the system about keeping memory out of the page file. No memory is really locked in a
// program that has this.
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

  // Keeps the calls from now on, of one thread. The system answers each with `result`.
  explicit MemoryLocks(BOOL result = TRUE);
  ~MemoryLocks();
  MemoryLocks(const MemoryLocks&) = delete;
  MemoryLocks& operator=(const MemoryLocks&) = delete;

  // The calls since the last question.
  Calls TakeCalls();

  // Every call comes here.
  static BOOL Answer(const char* name, const void* address, std::size_t length);

 private:
  BOOL m_result;
  Calls m_calls;
};
