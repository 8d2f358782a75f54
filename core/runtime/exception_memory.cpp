// The memory of exceptions: what GCC's C++ run-time needs to throw one. Its own version allocates a
// record for every thread that throws, and a lock, when they are first used, and ends the process
// when there is no memory for them, which is when an exception is needed most. It also brings a
// thread library into the DLL. This one needs neither.

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "core/windows_api.h"

#if defined(__MINGW32__) && defined(__GLIBCXX__)

#include <cxxabi.h>

// The run-time's record of one thread's exceptions, and its name for it.
struct __cxxabiv1::__cxa_eh_globals {
  void* caughtExceptions;
  unsigned int uncaughtCount;
};
using ThreadExceptions = __cxxabiv1::__cxa_eh_globals;

// The system gives every thread a copy of what lies between the beginning and the end of the
// section
// ".tls", and the C run-time of the DLL has declared both. The compiler would not use it by itself.
extern "C" {
extern ULONG _tls_index;
extern char _tls_start;
}
[[gnu::section(".tls$LAUNCHER")]] static ThreadExceptions exceptionsOfThread = {};

namespace {

// Where the copies' addresses stand in a thread's own block of the system's (64-bit Windows).
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

// The run-time's record of an exception, which stands in front of the thrown object: 160 bytes in
// GCC 12. More does no harm.
constexpr std::size_t kRecordSize = 256;

// For exceptions that are thrown when memory has run out: one for every bit of `usedReserve`. Many
// threads may be in that situation, and each has one or two exceptions at a time.
constexpr std::size_t kReserveCount = 64;
constexpr std::size_t kReserveSize = kRecordSize + 64;

struct alignas(16) ReserveBlock {
  unsigned char bytes[kReserveSize];
};
ReserveBlock reserve[kReserveCount];
std::atomic<std::uint64_t> usedReserve = 0;

void* TakeReserve(std::size_t size) {
  if (size > kReserveSize) return nullptr;
  std::uint64_t used = usedReserve.load();
  for (;;) {
    const auto index = static_cast<std::size_t>(std::countr_one(used));
    if (index == kReserveCount) return nullptr;
    if (usedReserve.compare_exchange_weak(used, used | std::uint64_t{1} << index)) {
      return &reserve[index];
    }
  }
}

bool GiveBackReserve(const void* memory) {
  const auto offset =
      reinterpret_cast<std::uintptr_t>(memory) - reinterpret_cast<std::uintptr_t>(reserve);
  if (offset >= sizeof(reserve)) return false;
  usedReserve.fetch_and(~(std::uint64_t{1} << offset / sizeof(ReserveBlock)));
  return true;
}

}  // namespace

// The names are the run-time's.
namespace __cxxabiv1 {
extern "C" {

ThreadExceptions* __cxa_get_globals() noexcept { return OwnCopy(); }

ThreadExceptions* __cxa_get_globals_fast() noexcept { return OwnCopy(); }

void* __cxa_allocate_exception(std::size_t size) noexcept {
  const std::size_t whole = kRecordSize + size;
  void* memory = std::malloc(whole);
  if (memory == nullptr) memory = TakeReserve(whole);
  if (memory == nullptr) std::terminate();
  std::memset(memory, 0, whole);
  return static_cast<char*>(memory) + kRecordSize;
}

void __cxa_free_exception(void* object) noexcept {
  void* const memory = static_cast<char*>(object) - kRecordSize;
  if (!GiveBackReserve(memory)) std::free(memory);
}

}  // extern "C"
}  // namespace __cxxabiv1

#endif
