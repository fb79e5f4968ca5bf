// Replaces the sanitizer's operators new and delete in a program under AddressSanitizer, so that HeapGuard sees each
// block. The sanitizer still watches the blocks, because they come from malloc.
#include <new>

#include "platform/HeapWatch.h"

namespace {

void* AllocateOrNull(std::size_t size) noexcept {
  try {
    return AllocateGuarded(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

void* operator new(std::size_t size) { return AllocateGuarded(size); }
void* operator new[](std::size_t size) { return AllocateGuarded(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept { return AllocateOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept { return AllocateOrNull(size); }
void operator delete(void* block) noexcept { ReleaseGuarded(block); }
void operator delete(void* block, std::size_t) noexcept { ReleaseGuarded(block); }
void operator delete[](void* block) noexcept { ReleaseGuarded(block); }
void operator delete[](void* block, std::size_t) noexcept { ReleaseGuarded(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { ReleaseGuarded(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { ReleaseGuarded(block); }
