#include "tests/support/lock_probe.h"

#include <stdexcept>
#include <thread>

namespace test_support {

LockProbe::LockProbe(HMODULE module)
    : initialize(module), enter(module, [this](CRITICAL_SECTION* section) {
        {
          const std::lock_guard guard(mutex);
          entered.emplace_back(section, GetCurrentThreadId());
        }
        enter.CallOriginal(section);
      }) {}

CRITICAL_SECTION* LockProbe::Lock() const {
  const auto calls = initialize.Calls();
  if (calls.empty()) throw std::runtime_error("no critical section was initialised");
  return std::get<0>(calls.back());
}

bool LockProbe::IsFree() const {
  CRITICAL_SECTION* const lock = Lock();
  bool isFree = false;
  std::thread([&] {
    isFree = TryEnterCriticalSection(lock) != FALSE;
    if (isFree) LeaveCriticalSection(lock);
  }).join();
  return isFree;
}

std::size_t LockProbe::EnteredBy(DWORD threadId) const {
  CRITICAL_SECTION* const lock = Lock();
  const std::lock_guard guard(mutex);
  std::size_t count = 0;
  for (const auto& [section, thread] : entered) {
    if (section == lock && thread == threadId) ++count;
  }
  return count;
}

}  // namespace test_support
