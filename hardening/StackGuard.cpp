// The run-time support of checked stacks and buffers, for Windows: the random value that follows the buffers of a
// function, and the functions that end the process when it was overwritten.
//
// The compiler's library has the same, but it asks the default provider of CryptoAPI for the value while a library is
// being loaded. That provider may be telvocsp.dll. It would then be called before it is ready, or would wait for itself
// while it loads the module.
#include <windows.h>

#include <cstdint>
#include <ntsecapi.h>

namespace {

// Ends the process without running any more of its code (Windows: __fastfail, which these headers lack).
[[noreturn]] void FailFast(unsigned reason) {
  __asm__ volatile("int $0x29" : : "c"(reason));
  __builtin_unreachable();
}

}  // namespace

extern "C" {

// Its lowest byte is zero, so that copying a string over it cannot reproduce it.
std::uintptr_t __stack_chk_guard = 0xFF0A0D2B7E151600;

[[noreturn]] void __stack_chk_fail() { FailFast(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE); }

[[noreturn]] void __chk_fail() { FailFast(FAST_FAIL_RANGE_CHECK_FAILURE); }

}  // extern "C"

namespace {

// Runs as one of the constructors, which the start-up code calls. At that time no checked function is running that
// would see the value change. Without random bytes the value above stays.
__attribute__((constructor)) void ChooseGuard() {
  std::uintptr_t random = 0;
  if (RtlGenRandom(&random, sizeof(random)) != FALSE) __stack_chk_guard = random & ~static_cast<std::uintptr_t>(0xFF);
}

}  // namespace
