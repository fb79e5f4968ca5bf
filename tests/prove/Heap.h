// Heap: watches the memory of new and new[] for the proofs: the live blocks, the peak, and secrets in freed blocks. It
// can make one allocation fail.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/HeapWatch.h"

// While it lives, the thread is inside the provider, or outside it again. Allocations fail and blocks are searched only
// inside.
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
  // Restarts the count of allocations inside the provider. The n-th one fails; with 0 none does.
  void FailAllocation(long n);
  long Allocations() const { return m_allocations; }
  bool HasFailed() const { return m_failing != 0 && m_allocations >= m_failing; }

  // Restarts the count, too; no allocation fails. Finds the allocations with new callers: their chain of callers has
  // not allocated before in this process.
  void FindNewCallers();
  // The numbers of the allocations found, in ascending order.
  std::vector<long> NewCallers() const;

  // Peak is the most bytes alive at a time since StartPeak, without those alive at StartPeak.
  void StartPeak() { m_peak = m_atStart = m_bytes.load(); }
  long Peak() const { return m_peak - m_atStart; }
  // How many blocks are alive.
  long Blocks() const { return m_blocks; }

  // Searches freed blocks for these bytes, which must live as long as this object. Null ends the search.
  void Search(const std::vector<std::string_view>* secrets) { m_secrets = secrets; }
  // The number of freed blocks with a secret since the last call.
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
  // The chains seen so far, by their hash, and the allocations that began a new one. These functions must not allocate.
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

// The heap of this process.
Heap& TheHeap();
