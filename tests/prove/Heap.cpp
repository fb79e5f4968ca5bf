#include "Heap.h"

#include <cstring>

namespace {

thread_local bool t_inside = false;

}  // namespace

ProviderAtWork::ProviderAtWork(bool inside) : m_before(t_inside) { t_inside = inside; }

ProviderAtWork::~ProviderAtWork() { t_inside = m_before; }

bool ProviderAtWork::Now() { return t_inside; }

Heap& TheHeap() {
  static Heap* const heap = new Heap;  // never destroyed: blocks are given back until the process ends
  return *heap;
}

void Heap::FailAllocation(long n) {
  m_allocations = 0;
  m_failing = n;
}

bool Heap::Allows(std::size_t /*length*/) noexcept { return !t_inside || ++m_allocations != m_failing; }

void Heap::OnGiven(char* block, std::size_t length) noexcept {
  // What stood there before is not the new owner's.
  if (m_secrets != nullptr) std::memset(block, 0xA5, length);
  ++m_blocks;
  const long bytes = m_bytes += static_cast<long>(length);
  if (bytes > m_peak) m_peak = bytes;  // of two threads at once one may be left out
}

void Heap::OnReleased(const char* block, std::size_t length) noexcept {
  --m_blocks;
  m_bytes -= static_cast<long>(length);
  if (m_secrets == nullptr || !t_inside) return;
  for (const std::string_view secret : *m_secrets) {
    if (std::string_view(block, length).find(secret) != std::string_view::npos) ++m_leaks;
  }
}
