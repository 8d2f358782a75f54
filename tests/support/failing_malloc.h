// Allocations of the test program itself that fail.
#ifndef LAUNCHER_TESTS_SUPPORT_FAILING_MALLOC_H_
#define LAUNCHER_TESTS_SUPPORT_FAILING_MALLOC_H_

#include <cstddef>

#include "tests/support/import_redirector.h"

namespace test_support {

/// While it lives, this program's allocations of exactly `size` bytes fail; with `kAnySize` all do.
/// At most one at a time, and no assertion in its scope: those need memory.
class FailingMalloc {
 public:
  static constexpr std::size_t kAnySize = 0;

  explicit FailingMalloc(std::size_t size);
  FailingMalloc(const FailingMalloc&) = delete;
  FailingMalloc& operator=(const FailingMalloc&) = delete;
  ~FailingMalloc();

  /// How many allocations have failed.
  std::size_t Count() const;

 private:
  ImportRedirector redirector;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_FAILING_MALLOC_H_
