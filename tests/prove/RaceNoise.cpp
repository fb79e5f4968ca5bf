// Under ThreadSanitizer, some allocations of a thread yield to others, so that these run between two steps that should
// be atomic.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)

#include <cstddef>
#include <sanitizer/allocator_interface.h>
#include <sched.h>

namespace {

void YieldSometimes(const volatile void* /*block*/, std::size_t /*length*/) {
  static thread_local unsigned count = 0;
  if (++count % 16 == 0) sched_yield();
}

void Nothing(const volatile void* /*block*/) {}

const int g_installed = __sanitizer_install_malloc_and_free_hooks(&YieldSometimes, &Nothing);

}  // namespace

#endif
#endif
