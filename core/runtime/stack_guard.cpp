// The stack protector's run-time. GCC's own takes the guard from a cryptographic provider when the DLL
// is loaded, and so loads another DLL under the loader's lock. This one calls nothing that could: the
// guard is made, like the cookies of other compilers' run-times, of what differs from run to run.

#include <cstdint>

#include "core/windows_api.h"

#if defined(__MINGW32__)

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the compiler's.
extern "C" {

std::uintptr_t __stack_chk_guard = 0;

// Before every other constructor: their functions may be protected.
[[gnu::constructor(101)]] __attribute__((no_stack_protector)) static void MakeGuard() {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // an odd number with bits everywhere
  const std::uint64_t sources[] = {
      __rdtsc(), GetCurrentProcessId(), GetCurrentThreadId(), GetTickCount(),
      // Random addresses of the stack and of the DLL.
      reinterpret_cast<std::uintptr_t>(&sources), reinterpret_cast<std::uintptr_t>(&MakeGuard)};
  std::uint64_t mixed = 0;
  for (const std::uint64_t source : sources) {
    mixed = (mixed ^ source) * kSpread;
    mixed ^= mixed >> 32;
  }
  // A zero byte at the beginning: a text that is copied too far ends there.
  __stack_chk_guard = mixed << 8;
}

// A guard was overwritten, or a checked call would have written beyond its memory: nothing can be
// trusted any more. The system ends the process without running any more of its code.
[[noreturn]] static void EndProcess(unsigned int reason) {
  asm volatile("int $0x29" : : "c"(reason));
  __builtin_unreachable();
}

__attribute__((noreturn)) void __stack_chk_fail();
void __stack_chk_fail() { EndProcess(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE); }
__attribute__((noreturn)) void __chk_fail();
void __chk_fail() { EndProcess(FAST_FAIL_RANGE_CHECK_FAILURE); }

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

#endif
