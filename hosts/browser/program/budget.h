// What a page may spend.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_BUDGET_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_BUDGET_H_

#include <windows.h>

#include <algorithm>
#include <cstddef>

namespace browser_host {

/// The bytes of commands to games. The launcher keeps in memory what a game does not read, and does
/// not say how much that is, so the sum is what is bounded: a mebibyte at once, and 8 KiB for each
/// second that passes.
class Budget {
 public:
  /// Whether so much is left. Counts what the time since the last call has earned.
  bool Has(std::size_t bytes) {
    const ULONGLONG now = GetTickCount64();
    const ULONGLONG earned = (now - lastLook) * kPerSecond / kMillisecondsPerSecond;
    if (earned > 0) {
      left = static_cast<std::size_t>(std::min<ULONGLONG>(left + earned, kMost));
      lastLook = now;
    }
    return bytes <= left;
  }
  void Take(std::size_t bytes) { left -= bytes; }

 private:
  static constexpr ULONGLONG kMost = 1ULL << 20;
  static constexpr ULONGLONG kPerSecond = 8ULL << 10;
  static constexpr ULONGLONG kMillisecondsPerSecond = 1000;

  std::size_t left = kMost;
  ULONGLONG lastLook = GetTickCount64();
};

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_BUDGET_H_
