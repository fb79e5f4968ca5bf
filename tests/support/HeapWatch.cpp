#include "HeapWatch.h"

#include <algorithm>
#include <cstdlib>
#include <new>

// One block at a time is enough for the tests.
namespace {

const void* g_block = nullptr;
std::size_t g_length = 0;
bool g_released = false;
bool g_wiped = false;

void Release(void* block) noexcept {
  if (block != nullptr && block == g_block) {
    const auto* bytes = static_cast<const unsigned char*>(block);
    g_wiped = std::all_of(bytes, bytes + g_length, [](unsigned char byte) { return byte == 0; });
    g_released = true;
    g_block = nullptr;
  }
  std::free(block);
}

}  // namespace

void* operator new[](std::size_t size) {
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete[](void* block) noexcept {
  Release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  Release(block);
}

HeapWatch::HeapWatch(const void* block, std::size_t length) {
  g_block = block;
  g_length = length;
  g_released = false;
  g_wiped = false;
}

HeapWatch::~HeapWatch() {
  g_block = nullptr;
}

bool HeapWatch::WasReleased() const {
  return g_released;
}

bool HeapWatch::WasWiped() const {
  return g_wiped;
}
