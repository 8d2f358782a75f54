// Which times of a ping batch are answers.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_PING_ANSWERS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_PING_ANSWERS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hosts/common/results.h"

namespace console {

/// The launcher asks the helper to wait so long for an echo.
inline constexpr std::uint32_t kLongestTime = 500;

/// The last address of every batch: one that cannot answer. A helper that was there has written
/// something other than 0 for it, while a batch without an answer is all 0. Only so can a time of
/// less than a millisecond be told from no time at all.
inline constexpr char kImpossibleAddress[] = "256.0.0.1";

/// Whether the helper has written the times of a batch that ends with `kImpossibleAddress`.
inline bool HasTimes(const std::vector<host::PingTime>& times) {
  return !times.empty() && times.back().milliseconds != 0;
}

/// Nothing for an address that did not answer.
inline std::optional<std::uint32_t> TimeOf(const std::vector<host::PingTime>& times,
                                           std::size_t index) {
  const std::uint32_t time = times[index].milliseconds;
  if (!HasTimes(times) || time > kLongestTime) return std::nullopt;
  return time;
}

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_PING_ANSWERS_H_
