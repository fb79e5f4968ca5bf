// Two functions that replace the compiler's on Windows, so that a library leaves no handle open when it is unloaded.
//
// The compiler's thread library is linked in. It makes a record, an event and a thread handle, for each thread that
// asks for a thread-specific value or calls pthread_once. When the library is unloaded, it closes neither these nor the
// two semaphores of a lock. The C++ library uses both: the values for each thread's record of exceptions, and
// pthread_once to set up its locale and its guards of static objects.
#include <windows.h>

#include <cxxabi.h>
#include <pthread.h>

// --- A thread's record of exceptions, as a fiber-local value. The system releases it when the thread ends, and all
// records when the index is freed.

namespace {

// __cxa_eh_globals (Itanium C++ ABI: Exception Handling, 2.2.2).
struct Record {
  void* caughtExceptions;
  unsigned uncaughtExceptions;
};

// Used by a thread that gets no memory, and by all threads while there is no index.
Record g_spare;

void WINAPI Release(void* record) { HeapFree(GetProcessHeap(), 0, record); }

class Records {
 public:
  Records() : m_index(FlsAlloc(&Release)), m_isOpen(m_index != FLS_OUT_OF_INDEXES) {}
  ~Records() {
    if (m_isOpen) FlsFree(m_index);
    m_isOpen = false;
  }
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  // The record of this thread. Leaves the last error as it was.
  Record* OfThisThread() const {
    if (!m_isOpen) return &g_spare;
    const DWORD lastError = GetLastError();
    auto* record = static_cast<Record*>(FlsGetValue(m_index));
    if (record == nullptr) record = Make();
    SetLastError(lastError);
    return record;
  }

 private:
  Record* Make() const {
    void* const record = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(Record));
    if (record == nullptr) return &g_spare;
    if (FlsSetValue(m_index, record) != FALSE) return static_cast<Record*>(record);
    HeapFree(GetProcessHeap(), 0, record);
    return &g_spare;
  }

  DWORD m_index;
  bool m_isOpen;
};

// Constructed before all other static objects, and so destroyed after them: they may catch exceptions.
Records g_records __attribute__((init_priority(101)));

}  // namespace

extern "C" {

__cxxabiv1::__cxa_eh_globals* __cxxabiv1::__cxa_get_globals() noexcept {
  return reinterpret_cast<__cxxabiv1::__cxa_eh_globals*>(g_records.OfThisThread());
}

__cxxabiv1::__cxa_eh_globals* __cxxabiv1::__cxa_get_globals_fast() noexcept { return __cxa_get_globals(); }

}  // extern "C"

// --- pthread_once. The linker redirects the calls here (--wrap).

namespace {

enum : pthread_once_t { kNotYet = PTHREAD_ONCE_INIT, kDone = 1, kUnderWay = 2 };

}  // namespace

extern "C" int __wrap_pthread_once(pthread_once_t* state, void (*work)()) {
  while (true) {
    switch (InterlockedCompareExchange(state, kUnderWay, kNotYet)) {
      case kNotYet:
        work();
        InterlockedExchange(state, kDone);
        return 0;
      case kDone:
        return 0;
      default:
        Sleep(0);  // another thread is doing the work, which takes hardly any time
    }
  }
}
