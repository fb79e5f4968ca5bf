// ScarceMemory: while an instance lives, `new (std::nothrow) T[n]` finds no memory and returns null.
#pragma once

class ScarceMemory {
 public:
  ScarceMemory();
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};
