// What an exchange with the helper leaves in the records. Hosts see only records that begin with 0.

#include "ping/ping_exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/environment_variable.h"
#include "tests/support/ping_helper.h"

namespace launcher {
namespace {

using test_support::EnvironmentVariable;
using test_support::PingHelper;
using test_support::PingReply;

// The functions under test are part of this program.
HMODULE Self() { return GetModuleHandleW(nullptr); }

/// The times of `count` records that begin with 77 milliseconds, after an exchange.
std::vector<std::uint32_t> TimesAfterExchange(std::size_t count) {
  PingInfos infos(count, PingInfo{L"10.0.0.1", 77});
  PingThreadProc(infos);
  std::vector<std::uint32_t> times;
  for (const PingInfo& info : infos) {
    EXPECT_EQ(info.ipAddress, L"10.0.0.1");
    times.push_back(info.roundTripMsec);
  }
  return times;
}

TEST(PingThreadProc, WritesTheTimesOfTheFirst256Records) {
  const PingHelper helper(Self(), PingReply(std::vector<std::uint32_t>(256, 5)));
  std::vector<std::uint32_t> expected(258, 5);
  expected[256] = 77;
  expected[257] = 77;
  EXPECT_EQ(TimesAfterExchange(258), expected);
}

TEST(PingThreadProc, WritesZeros) {
  const PingHelper helper(Self(), PingReply({}));
  EXPECT_EQ(TimesAfterExchange(2), std::vector<std::uint32_t>({0, 0}));
}

TEST(PingThreadProc, LeavesTheRecordsAloneWhenTheReplyIsRefused) {
  const PingHelper helper(Self(), std::string(1023, '\0'));
  EXPECT_EQ(TimesAfterExchange(2), std::vector<std::uint32_t>({77, 77}));
}

TEST(PingThreadProc, LeavesTheRecordsAloneWhenTheHelperIsMissing) {
  const EnvironmentVariable directory(L"KOVLAUNCH_INSTDIR", L"Q:\\nowhere");
  EXPECT_EQ(TimesAfterExchange(2), std::vector<std::uint32_t>({77, 77}));
}

}  // namespace
}  // namespace launcher
