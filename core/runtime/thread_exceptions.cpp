// Each thread's record of the exceptions that it handles. GCC's C++ run-time allocates one when a
// thread first throws, and ends the process when there is no memory for it, which is when an
// exception is needed most. This one lies in memory that the system gives every thread. Everything
// else about exceptions is the run-time's own: a host of the same compiler may keep an exception and
// release it with its own run-time.

#include <cstdint>

#include "core/windows_api.h"

#if defined(__MINGW32__) && defined(__GLIBCXX__)

#include <cxxabi.h>

namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier): the run-time's.
}

// The run-time's name for the record, and what it holds.
struct __cxxabiv1::__cxa_eh_globals {
  void* caughtExceptions;
  unsigned int uncaughtCount;
};
using ThreadExceptions = __cxxabiv1::__cxa_eh_globals;

// The system gives every thread a copy of what lies between the beginning and the end of the section
// ".tls", and the C run-time of the DLL has declared both. The compiler would not use it by itself.
extern "C" {
extern ULONG _tls_index;
extern char _tls_start;
}
[[gnu::section(".tls$LAUNCHER")]] static ThreadExceptions exceptionsOfThread = {};

namespace {

// Where the copies' addresses lie in the system's block of a thread (64-bit Windows).
constexpr unsigned long kCopiesOffset = 0x58;

// GCC takes the offset for an address.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
ThreadExceptions* OwnCopy() {
  auto* const* const copies = reinterpret_cast<char**>(__readgsqword(kCopiesOffset));
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(&exceptionsOfThread) -
                                reinterpret_cast<std::uintptr_t>(&_tls_start);
  return reinterpret_cast<ThreadExceptions*>(copies[_tls_index] + offset);
}
#pragma GCC diagnostic pop

// The run-time's reserve for exceptions without memory; it would be left behind by every load.
[[gnu::destructor]] void FreeReserve() { __gnu_cxx::__freeres(); }

}  // namespace

// The names are the run-time's.
namespace __cxxabiv1 {
extern "C" {

ThreadExceptions* __cxa_get_globals() noexcept { return OwnCopy(); }

ThreadExceptions* __cxa_get_globals_fast() noexcept { return OwnCopy(); }

}  // extern "C"
}  // namespace __cxxabiv1

#endif
