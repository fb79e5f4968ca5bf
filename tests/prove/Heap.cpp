#include "Heap.h"

#include <algorithm>
#include <cstring>
#include <unwind.h>

namespace {

thread_local bool t_inside = false;

// The hash (FNV-1a) of a chain of at most 32 callers.
struct CallerChain {
  std::uint64_t hash = 0xCBF29CE484222325;
  int left = 32;
};

_Unwind_Reason_Code AddCaller(_Unwind_Context* context, void* chain) {
  auto& callers = *static_cast<CallerChain*>(chain);
  callers.hash = (callers.hash ^ static_cast<std::uint64_t>(_Unwind_GetIP(context))) * 0x100000001B3;
  return --callers.left > 0 ? _URC_NO_REASON : _URC_END_OF_STACK;
}

}  // namespace

ProviderAtWork::ProviderAtWork(bool inside) : m_before(t_inside) { t_inside = inside; }

ProviderAtWork::~ProviderAtWork() { t_inside = m_before; }

bool ProviderAtWork::Now() { return t_inside; }

Heap& TheHeap() {
  static Heap* const heap = new Heap;  // never destroyed: blocks are freed until the process ends
  return *heap;
}

void Heap::FailAllocation(long n) {
  m_looksAtCallers = false;
  m_allocations = 0;
  m_failing = n;
}

void Heap::FindNewCallers() {
  FailAllocation(0);
  m_newCallersCount = 0;
  m_looksAtCallers = true;
}

std::vector<long> Heap::NewCallers() const {
  std::vector<long> numbers(m_newCallers.begin(), m_newCallers.begin() + static_cast<long>(m_newCallersCount));
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

// When the table is full, each chain counts as known.
bool Heap::IsNewChain(std::uint64_t hash) noexcept {
  for (std::size_t step = 0; step < kMostChains; ++step) {
    std::uint64_t there = 0;
    if (m_chains[(hash + step) % kMostChains].compare_exchange_strong(there, hash)) return true;
    if (there == hash) return false;
  }
  return false;
}

void Heap::LookAtCallers(long n) noexcept {
  CallerChain chain;
  _Unwind_Backtrace(&AddCaller, &chain);
  if (IsNewChain(chain.hash | 1U)) m_newCallers[m_newCallersCount++] = n;
}

bool Heap::Allows(std::size_t /*length*/) noexcept {
  if (!t_inside) return true;
  const long n = ++m_allocations;
  if (m_looksAtCallers) LookAtCallers(n);
  return n != m_failing;
}

void Heap::OnGiven(char* block, std::size_t length) noexcept {
  // Overwrites what the previous owner left.
  if (m_secrets != nullptr) std::memset(block, 0xA5, length);
  ++m_blocks;
  const long bytes = m_bytes += static_cast<long>(length);
  if (bytes > m_peak) m_peak = bytes;  // with two threads at once, one value may be lost
}

void Heap::OnReleased(const char* block, std::size_t length) noexcept {
  --m_blocks;
  m_bytes -= static_cast<long>(length);
  if (m_secrets == nullptr || !t_inside) return;
  for (const std::string_view secret : *m_secrets) {
    if (std::string_view(block, length).find(secret) != std::string_view::npos) ++m_leaks;
  }
}
