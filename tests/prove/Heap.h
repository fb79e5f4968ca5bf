// Heap: the memory of new and new[] of this process, as the proofs see it: what is alive, how much it ever was, one
// allocation that fails, and whether a secret stood in a block that was given back.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/HeapWatch.h"

// While it lives the thread is at work inside the provider, or outside of it again. Only inside allocations fail and
// blocks are searched.
class ProviderAtWork {
 public:
  explicit ProviderAtWork(bool inside = true);
  ~ProviderAtWork();
  ProviderAtWork(const ProviderAtWork&) = delete;
  ProviderAtWork& operator=(const ProviderAtWork&) = delete;
  // Whether the calling thread is inside.
  static bool Now();

 private:
  bool m_before;
};

class Heap : public HeapGuard {
 public:
  // The allocations inside the provider are counted anew; the n-th one fails, none with 0.
  void FailAllocation(long n);
  long Allocations() const { return m_allocations; }
  bool HasFailed() const { return m_failing != 0 && m_allocations >= m_failing; }

  // Counts anew, too, and none fails. Finds the allocations with new callers: those whose chain of callers had none
  // before in this process.
  void FindNewCallers();
  // The numbers of those that were found, in ascending order.
  std::vector<long> NewCallers() const;

  // The most bytes that were alive at a time since the start, beside those that were alive at the start.
  void StartPeak() { m_peak = m_atStart = m_bytes.load(); }
  long Peak() const { return m_peak - m_atStart; }
  // How many are alive.
  long Blocks() const { return m_blocks; }

  // Looks for these bytes, which must live as long as this object. Null ends the search.
  void Search(const std::vector<std::string_view>* secrets) { m_secrets = secrets; }
  // The number of blocks with a secret since the last question.
  long TakeLeaks() { return m_leaks.exchange(0); }

  bool Allows(std::size_t length) noexcept override;
  void OnGiven(char* block, std::size_t length) noexcept override;
  void OnReleased(const char* block, std::size_t length) noexcept override;

 private:
  std::atomic<long> m_allocations{0};
  std::atomic<long> m_failing{0};
  std::atomic<long> m_blocks{0};
  std::atomic<long> m_bytes{0};
  std::atomic<long> m_peak{0};
  std::atomic<long> m_atStart{0};
  // Which chains were seen, by their hash, and which allocations began a new one. No memory may be asked for here.
  bool IsNewChain(std::uint64_t hash) noexcept;
  void LookAtCallers(long n) noexcept;
  static constexpr std::size_t kMostChains = 1U << 17U;
  std::array<std::atomic<std::uint64_t>, kMostChains> m_chains{};
  std::array<long, kMostChains> m_newCallers{};
  std::atomic<std::size_t> m_newCallersCount{0};
  std::atomic<bool> m_looksAtCallers{false};

  const std::vector<std::string_view>* m_secrets = nullptr;
  std::atomic<long> m_leaks{0};
};

// The one of the process.
Heap& TheHeap();
