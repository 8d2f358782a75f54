// What something that is done again and again leaves behind in the process.
#ifndef LAUNCHER_TESTS_SUPPORT_GROWTH_H_
#define LAUNCHER_TESTS_SUPPORT_GROWTH_H_

#include <algorithm>
#include <array>
#include <cstddef>

#include "tests/support/process_snapshot.h"

namespace test_support {

struct Growth {
  std::ptrdiff_t handles = 0;
  std::ptrdiff_t blocks = 0;
};

/// How many times the growth covers: divide by it for what one time leaves.
inline constexpr std::ptrdiff_t kGrowthTimes = 20;

/// What `kGrowthTimes` calls of `step` leave, after a few to warm up. Locks of the system and of the
/// runtime make a handle when two threads first meet there, at a moment of their own; that falls into
/// one of three spans, while what each call leaves falls into every one. So the middle one counts.
template <typename Step>
Growth GrowthOf(const Step& step) {
  constexpr std::size_t kWarmUp = 5;
  constexpr std::size_t kSpans = 3;
  for (std::size_t i = 0; i < kWarmUp; ++i) step();
  std::array<std::ptrdiff_t, kSpans> handles;
  std::array<std::ptrdiff_t, kSpans> blocks;
  for (std::size_t span = 0; span < kSpans; ++span) {
    const std::size_t handlesBefore = CountHandles();
    const std::size_t blocksBefore = MeasureHeaps().blocks;
    for (std::ptrdiff_t i = 0; i < kGrowthTimes; ++i) step();
    handles[span] = static_cast<std::ptrdiff_t>(CountHandles() - handlesBefore);
    blocks[span] = static_cast<std::ptrdiff_t>(MeasureHeaps().blocks - blocksBefore);
  }
  std::sort(handles.begin(), handles.end());
  std::sort(blocks.begin(), blocks.end());
  return {handles[kSpans / 2], blocks[kSpans / 2]};
}

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_GROWTH_H_
