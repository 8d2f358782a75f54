// A query for which there is no memory at its start is neither made nor reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"

namespace test_support {
namespace {

TEST(QueryWithoutMemory, LeavesNothingBehind) {
  DllHost host;
  const auto query = [&] {
    host->QueryServer(L"a request with a long identifier", L"and a long second text", L"1",
                      L"127.0.0.1", 9);
  };
  // How many allocations the host's own thread makes until the query's thread runs.
  constexpr std::size_t kFirst = 4;
  for (std::size_t number = 0; number < kFirst; ++number) {
    AllocationTracker memory(host.Module());
    memory.FailOne(number);
    query();
    EXPECT_EQ(memory.Outstanding(), 0u) << number;
  }
  host->WaitForThreads();
  EXPECT_THAT(host.Drain(), testing::IsEmpty());
}

}  // namespace
}  // namespace test_support
