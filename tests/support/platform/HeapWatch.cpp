#include "platform/HeapWatch.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define SANITIZER_HAS_THE_HEAP
#include <sanitizer/allocator_interface.h>
#endif
#endif

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <mutex>
#include <new>

// One block at a time is enough for the tests.
namespace {

const void* g_block = nullptr;
std::size_t g_length = 0;
bool g_released = false;
bool g_wiped = false;
HeapSearch* g_search = nullptr;
std::atomic<HeapGuard*> g_guard{nullptr};

// The blocks that a HeapKeeper keeps. Their contents stay unchanged.
std::mutex g_keeping;
std::atomic<bool> g_isKeeping{false};
void** g_kept = nullptr;
std::size_t g_keptCount = 0;
std::size_t g_keptRoom = 0;

[[maybe_unused]] bool Keep(void* block) noexcept {
  if (!g_isKeeping) return false;
  const std::lock_guard<std::mutex> lock(g_keeping);
  if (g_keptCount == g_keptRoom) {
    g_keptRoom = g_keptRoom * 2 + 4096;
    g_kept = static_cast<void**>(std::realloc(g_kept, g_keptRoom * sizeof(void*)));
    if (g_kept == nullptr) std::abort();
  }
  g_kept[g_keptCount++] = block;
  return true;
}

std::size_t LengthOf(const void* block) {
#if defined(SANITIZER_HAS_THE_HEAP)
  return __sanitizer_get_allocated_size(block);
#elif defined(_WIN32)
  return _msize(const_cast<void*>(block));
#else
  return malloc_usable_size(const_cast<void*>(block));
#endif
}

// Called for each block that is freed, while its bytes are still there.
void Look(const volatile void* volatileBlock) noexcept {
  const void* const block = const_cast<const void*>(volatileBlock);
  if (block == nullptr) return;
  if (g_search != nullptr) g_search->LookInto(static_cast<const char*>(block), LengthOf(block));
  if (block != g_block) return;
  const auto* bytes = static_cast<const unsigned char*>(g_block);
  g_wiped = std::all_of(bytes, bytes + g_length, [](unsigned char byte) { return byte == 0; });
  g_released = true;
  g_block = nullptr;
}

}  // namespace

void* AllocateGuarded(std::size_t size) {
  HeapGuard* const guard = g_guard;
  void* const block = guard == nullptr || guard->Allows(size) ? std::malloc(size > 0 ? size : 1) : nullptr;
  if (block == nullptr) throw std::bad_alloc();
  if (guard != nullptr) guard->OnGiven(static_cast<char*>(block), LengthOf(block));
  return block;
}

void ReleaseGuarded(void* block) noexcept {
  HeapGuard* const guard = g_guard;
  if (guard != nullptr && block != nullptr) guard->OnReleased(static_cast<const char*>(block), LengthOf(block));
#if !defined(SANITIZER_HAS_THE_HEAP)
  Look(block);
  if (block != nullptr && Keep(block)) return;
#endif
  std::free(block);
}

#if defined(SANITIZER_HAS_THE_HEAP)

namespace {
const int g_installed = __sanitizer_install_malloc_and_free_hooks([](const volatile void*, std::size_t) {}, &Look);
}  // namespace

#else

void* operator new(std::size_t size) { return AllocateGuarded(size); }
void* operator new[](std::size_t size) { return AllocateGuarded(size); }
void operator delete(void* block) noexcept { ReleaseGuarded(block); }
void operator delete(void* block, std::size_t) noexcept { ReleaseGuarded(block); }
void operator delete[](void* block) noexcept { ReleaseGuarded(block); }
void operator delete[](void* block, std::size_t) noexcept { ReleaseGuarded(block); }

#endif

HeapGuard::HeapGuard() { g_guard = this; }

HeapGuard::~HeapGuard() { g_guard = nullptr; }

HeapWatch::HeapWatch(const void* block, std::size_t length) {
  g_block = block;
  g_length = length;
  g_released = false;
  g_wiped = false;
}

HeapWatch::~HeapWatch() { g_block = nullptr; }

bool HeapWatch::WasReleased() const { return g_released; }

bool HeapWatch::WasWiped() const { return g_wiped; }

HeapSearch::HeapSearch(const std::vector<std::string_view>& secrets) {
  for (const std::string_view secret : secrets) m_secrets.push_back({secret, false});
  g_search = this;
}

HeapSearch::~HeapSearch() { g_search = nullptr; }

void HeapSearch::LookInto(const char* block, std::size_t length) noexcept {
  for (Secret& secret : m_secrets) {
    // A sanitizer reports an empty block as one byte long. That byte must not be read.
    if (length < secret.bytes.size()) continue;
    const char* const end = block + length;
    if (std::search(block, end, secret.bytes.begin(), secret.bytes.end()) != end) secret.found = true;
  }
}

std::vector<std::string_view> HeapSearch::Found() const {
  std::vector<std::string_view> found;
  for (const Secret& secret : m_secrets) {
    if (secret.found) found.push_back(secret.bytes);
  }
  return found;
}

HeapKeeper::HeapKeeper() { g_isKeeping = true; }

HeapKeeper::~HeapKeeper() {
  g_isKeeping = false;
  const std::lock_guard<std::mutex> lock(g_keeping);
  while (g_keptCount > 0) std::free(g_kept[--g_keptCount]);
}
