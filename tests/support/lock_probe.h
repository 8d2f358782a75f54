// Finds the launcher's lock and says who holds it.
#ifndef LAUNCHER_TESTS_SUPPORT_LOCK_PROBE_H_
#define LAUNCHER_TESTS_SUPPORT_LOCK_PROBE_H_

#include "tests/support/import_redirector.h"

namespace test_support {

/// Made before the launcher, so that it sees the lock being initialised: the last critical section
/// that the module initialises while the launcher is created.
class LockProbe {
 public:
  explicit LockProbe(HMODULE module);

  CRITICAL_SECTION* Lock() const;
  /// Whether a thread other than the caller's could take the lock now. Decided by trying.
  bool IsFree() const;
  /// How often the module has entered the lock on this thread.
  std::size_t EnteredBy(DWORD threadId) const;

 private:
  IMPORT_HOOK(InitializeCriticalSection) initialize;
  mutable std::mutex mutex;
  std::vector<std::pair<CRITICAL_SECTION*, DWORD>> entered;
  IMPORT_HOOK(EnterCriticalSection) enter;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_LOCK_PROBE_H_
