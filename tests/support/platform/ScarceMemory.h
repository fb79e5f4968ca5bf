// ScarceMemory: while an instance lives, arrays that may fail without an exception, `new (std::nothrow) T[n]`, find no
// memory.
#pragma once

class ScarceMemory {
 public:
  ScarceMemory();
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};
