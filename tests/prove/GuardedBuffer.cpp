#include "GuardedBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

#if !defined(_WIN32)
#include <sys/mman.h>
#endif

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kFront = 64;  // bytes before the start that are checked
constexpr BYTE kFilling = 0xA5;

#if defined(_WIN32)

BYTE* AllocatePages(std::size_t length) {
  return static_cast<BYTE*>(VirtualAlloc(nullptr, length, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
}
void FreePages(BYTE* pages, std::size_t /*length*/) { VirtualFree(pages, 0, MEM_RELEASE); }
void Protect(BYTE* pages, std::size_t length, bool readable) {
  DWORD before = 0;
  VirtualProtect(pages, length, readable ? PAGE_READONLY : PAGE_NOACCESS, &before);
}

#else

BYTE* AllocatePages(std::size_t length) {
  void* const pages = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : static_cast<BYTE*>(pages);
}
void FreePages(BYTE* pages, std::size_t length) { munmap(pages, length); }
void Protect(BYTE* pages, std::size_t length, bool readable) {
  mprotect(pages, length, readable ? PROT_READ : PROT_NONE);
}

#endif

}  // namespace

GuardedBuffer::GuardedBuffer(std::size_t length, const void* content, Access access)
    : m_pages(nullptr), m_room(((length + kFront) / kPage + 1) * kPage), m_data(nullptr), m_length(length) {
  m_pages = AllocatePages(m_room + kPage);
  if (m_pages == nullptr) throw std::bad_alloc();
  m_data = m_pages + m_room - length;
  std::memset(m_data - kFront, kFilling, kFront + length);
  if (content != nullptr) std::memcpy(m_data, content, length);
  if (access == Access::kReadOnly) Protect(m_pages, m_room, true);
  Protect(m_pages + m_room, kPage, false);
}

GuardedBuffer::~GuardedBuffer() { FreePages(m_pages, m_room + kPage); }

bool GuardedBuffer::IsFrontWhole() const {
  return std::all_of(m_data - kFront, m_data, [](BYTE byte) { return byte == kFilling; });
}

void* GuardedBuffer::Forbidden() {
  static const GuardedBuffer edge(0, nullptr, Access::kReadOnly);
  return edge.Data();
}
