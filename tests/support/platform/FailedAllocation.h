// FailedAllocation: while it lives, the n-th allocation by new or new[], counted from 1, fails; none with 0.
//
// A build with AddressSanitizer has its own heap: there no allocation fails or is counted, unless the
// program has SanitizedHeap.cpp.
#pragma once

#include <atomic>
#include <cstddef>

#include "platform/HeapWatch.h"

class FailedAllocation : public HeapGuard {
 public:
  explicit FailedAllocation(long n) : m_failing(n) {}

  bool Allows(std::size_t /*length*/) noexcept override { return ++m_count != m_failing; }
  void OnGiven(char* /*block*/, std::size_t /*length*/) noexcept override {}
  void OnReleased(const char* /*block*/, std::size_t /*length*/) noexcept override {}

  // The number of allocations so far.
  long Count() const { return m_count; }

 private:
  const long m_failing;
  std::atomic<long> m_count{0};
};
