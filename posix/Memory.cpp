// Memory in pages.
#include <windows.h>

#include <map>
#include <mutex>
#include <sys/mman.h>

namespace {

constexpr std::uintptr_t kPage = 4096;

// The size of each reservation, which munmap needs.
struct Reservations {
  std::mutex mutex;
  std::map<LPVOID, std::size_t> sizes;
};
Reservations& TheReservations() {
  static auto* const reservations = new Reservations;  // never freed: static objects release memory at the very end
  return *reservations;
}

LPVOID Reserve(std::size_t size) {
  void* const memory = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  const std::lock_guard<std::mutex> lock(TheReservations().mutex);
  TheReservations().sizes[memory] = size;
  return memory;
}

LPVOID Commit(LPVOID address, std::size_t size) {
  const std::uintptr_t skipped = reinterpret_cast<std::uintptr_t>(address) % kPage;
  BYTE* const page = static_cast<BYTE*>(address) - skipped;
  return mprotect(page, size + skipped, PROT_READ | PROT_WRITE) == 0 ? page : nullptr;
}

}  // namespace

LPVOID VirtualAlloc(LPVOID address, std::size_t size, DWORD type, DWORD /*protection*/) {
  void* const memory = type == MEM_COMMIT ? Commit(address, size) : Reserve(size);
  if (memory == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return memory;
}

BOOL VirtualFree(LPVOID address, std::size_t /*size*/, DWORD /*type*/) {
  const std::lock_guard<std::mutex> lock(TheReservations().mutex);
  const auto found = TheReservations().sizes.find(address);
  if (found == TheReservations().sizes.end()) return FALSE;
  munmap(address, found->second);
  TheReservations().sizes.erase(found);
  return TRUE;
}
