// PageMemory: a range of addresses that gets memory step by step, so that an array in it grows without a copy. New
// memory is zero. The destructor returns it to the system, which clears pages before another process gets them, and
// does not wipe it: use it for long data, where wiping takes noticeable time, and not for keys.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <new>
#include <utility>

class PageMemory {
 public:
  PageMemory() = default;
  // Reserves addresses for that many bytes, without allocating memory. Raises std::bad_alloc.
  explicit PageMemory(std::size_t reserved)
      : m_bytes(static_cast<BYTE*>(VirtualAlloc(nullptr, reserved, MEM_RESERVE, PAGE_NOACCESS))), m_reserved(reserved) {
    if (m_bytes == nullptr) throw std::bad_alloc();
  }
  PageMemory(PageMemory&& other) noexcept { Swap(other); }
  PageMemory& operator=(PageMemory&& other) noexcept {
    PageMemory(std::move(other)).Swap(*this);
    return *this;
  }
  PageMemory(const PageMemory&) = delete;
  PageMemory& operator=(const PageMemory&) = delete;
  ~PageMemory() {
    if (m_bytes != nullptr) VirtualFree(m_bytes, 0, MEM_RELEASE);
  }

  // Allocates memory for the first `length` bytes, which must be reserved. Existing bytes stay. Raises std::bad_alloc.
  void Extend(std::size_t length) {
    if (length <= m_length) return;
    if (VirtualAlloc(m_bytes + m_length, length - m_length, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
      throw std::bad_alloc();
    }
    m_length = length;
  }

  BYTE* Data() { return m_bytes; }
  const BYTE* Data() const { return m_bytes; }
  // The number of bytes that have memory.
  std::size_t Length() const { return m_length; }
  std::size_t Reserved() const { return m_reserved; }

 private:
  void Swap(PageMemory& other) noexcept {
    std::swap(m_bytes, other.m_bytes);
    std::swap(m_length, other.m_length);
    std::swap(m_reserved, other.m_reserved);
  }

  BYTE* m_bytes = nullptr;
  std::size_t m_length = 0;
  std::size_t m_reserved = 0;
};
