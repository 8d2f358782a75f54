// Counts a module's memory blocks and lets chosen allocations fail.
#ifndef LAUNCHER_TESTS_SUPPORT_ALLOCATION_TRACKER_H_
#define LAUNCHER_TESTS_SUPPORT_ALLOCATION_TRACKER_H_

#include <cstddef>
#include <mutex>
#include <optional>
#include <set>

#include "tests/support/import_redirector.h"

namespace test_support {

/// Redirects the C runtime's allocation functions of one module, on which its operator new rests.
/// At most one at a time.
class AllocationTracker {
 public:
  explicit AllocationTracker(HMODULE module);
  AllocationTracker(const AllocationTracker&) = delete;
  AllocationTracker& operator=(const AllocationTracker&) = delete;
  ~AllocationTracker();

  /// Blocks that were allocated since the beginning and not freed.
  std::size_t Outstanding() const;
  bool IsOutstanding(const void* block) const;
  /// Allocations since the last `FailOne` or `FailNone` (or the beginning), failed ones included.
  std::size_t Count() const;

  /// The allocation with this number from now (from 0) fails, and only this one: the C++ run-time
  /// needs memory to throw an exception.
  void FailOne(std::size_t number);
  void FailNone();

  /// Frees a block of the module's that nobody else will free.
  void Free(void* block);

 private:
  static void* Malloc(std::size_t size);
  static void* Calloc(std::size_t count, std::size_t size);
  static void* Realloc(void* block, std::size_t size);
  static void FreeEntry(void* block);

  bool Fails();
  void* Added(void* block);

  mutable std::mutex mutex;
  std::set<const void*> blocks;
  std::size_t count = 0;
  std::optional<std::size_t> failing;
  ImportRedirector redirector;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_ALLOCATION_TRACKER_H_
