#include "platform/ScarceMemory.h"

#include <atomic>
#include <new>

namespace {

std::atomic<bool> g_isScarce{false};

}  // namespace

ScarceMemory::ScarceMemory() { g_isScarce = true; }

ScarceMemory::~ScarceMemory() { g_isScarce = false; }

#ifdef _WIN32

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (g_isScarce) return nullptr;
  try {
    return ::operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

#else

// The linker does the same here, because a sanitizer's own operator must stay.
extern "C" {
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept {
  return g_isScarce ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}

#endif
