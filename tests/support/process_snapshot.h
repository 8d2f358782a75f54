// What the process holds of the system and of memory, for leak checks.
#ifndef LAUNCHER_TESTS_SUPPORT_PROCESS_SNAPSHOT_H_
#define LAUNCHER_TESTS_SUPPORT_PROCESS_SNAPSHOT_H_

#include <cstddef>

namespace test_support {

/// Open handles of this process; under Wine, whose call for them answers 0, from the system-wide list.
std::size_t CountHandles();

struct HeapUse {
  std::size_t blocks = 0;
  std::size_t bytes = 0;

  bool operator==(const HeapUse&) const = default;
};

/// Allocated blocks on all heaps of this process. Counts the test's own memory too: keep what the
/// test itself holds equal between two calls.
HeapUse MeasureHeaps();

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_PROCESS_SNAPSHOT_H_
