// Memory runs out at every single allocation of the DLL, once for that allocation alone and once
// for all that follow.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <ostream>
#include <thread>

#include "tests/host/robustness/fault_scenario.h"

namespace test_support {
namespace {

// A line of a section's report, in any of several texts. An event or something that is no longer
// reached may be missing.
struct AllowedLine {
  std::vector<std::string> texts;
  bool mayBeMissing = false;
};

// What a host may see of a section while there is no memory: a text is right or null, a `bool`
// right or false, an event whole or missing.
const std::vector<AllowedLine>& AllowedLines(const std::string& section) {
  static const std::map<std::string, std::vector<AllowedLine>> lines = {
      {"create",
       {{{"no launcher"}, true},
        {{"event posted from source: argument"}, true},
        {{"GetLauncherVersion: 162", "GetLauncherVersion: <null>"}, true},
        {{"destroyed"}, true}}},
      {"probe",
       {{{"SetParameter: true", "SetParameter: false"}},
        // A version file that there is no memory for reads as empty.
        {{"GetVersion: 1.2.3", "GetVersion: ", "GetVersion: <null>"}},
        // What the look-up was cut short before.
        {{"expansions: Xpack0", "expansions: ", "expansions: <null>"}},
        {{"PunkBuster: 1", "PunkBuster: ", "PunkBuster: <null>"}},
        {{"GetExtraArguments: -x", "GetExtraArguments: ", "GetExtraArguments: <null>"}},
        {{"IsInstalled: true", "IsInstalled: false"}},
        {{"expansions by path: Xpack7", "expansions by path: ", "expansions by path: <null>"}},
        {{"store: 9.8", "store: <null>"}}}},
      {"launch",
       {{{"started with YES ... play"}, true},
        {{"Launch: true", "Launch: false"}},
        {{"event StateChanged from BRENNA-GAME: PENDING"}, true},
        {{"box Vantor Web Plugins: Could not execute binary"}, true},
        {{"refused Launch: false"}},
        {{"started with NO ... "}, true},
        {{"store Launch: true", "store Launch: false"}}}},
      {"process",
       {{{"IsRunning: true", "IsRunning: false"}},
        {{"ended with ffff8597"}, true},
        {{"Kill: true", "Kill: false"}}}},
      {"settings",
       {{{"disabled: false", "disabled: <null>"}}, {{"enabled: true", "enabled: <null>"}}}},
      {"pipe",
       {{{"event StateChanged from SOLANO-GAME: READY"}, true},
        {{"event X from SOLANO-GAME: a b"}, true},
        {{"SendCommand: true", "SendCommand: false"}, true},
        {{"the game got the command", "the game got nothing"}, true},
        {{"event StateChanged from SOLANO-GAME: GAMEISGONE"}, true}}},
      {"ping",
       {{{"PingBatch: true", "PingBatch: bad_alloc"}},
        {{R"(event PingBatchResult from : batch [ { "ipAddress": "127.0.0.1", )"
          R"("roundTripMSEC": 23 }, { "ipAddress": "127.0.0.2", "roundTripMSEC": 40 } ])"},
         true}}},
      {"query",
       {{{"event QueryServerResult from request: 1 SUCCESS",
          "event QueryServerResult from request: 1 ERROR_MARSHALLING_EXCEPTION"},
         true},
        {{"event QueryServerResult from request: 2 ERROR_MARSHALLING_EXCEPTION"}, true}}},
  };
  return lines.at(section);
}

bool IsAllowed(const std::string& section, const Report& report) {
  auto line = report.begin();
  for (const AllowedLine& allowed : AllowedLines(section)) {
    const bool isThis =
        line != report.end() && std::count(allowed.texts.begin(), allowed.texts.end(), *line) > 0;
    if (isThis) {
      ++line;
    } else if (!allowed.mayBeMissing) {
      return false;
    }
  }
  return line == report.end();
}

struct Shortage {
  std::string section;
  // Whether every later allocation fails as well.
  bool lasts = false;
};

void PrintTo(const Shortage& shortage, std::ostream* out) {
  *out << shortage.section << (shortage.lasts ? ", lasting" : ", once");
}

std::vector<Shortage> Shortages() {
  std::vector<Shortage> shortages;
  for (const std::string& section : kSectionNames) {
    shortages.push_back({section, false});
    shortages.push_back({section, true});
  }
  return shortages;
}

class FaultMemory : public testing::TestWithParam<Shortage> {
 protected:
  FaultMemory() : runner(GetParam().section, {"malloc", "realloc", "calloc"}) {}

  void CheckBalance(const std::string& where) {
    for (const ResourceLedger::Item& item : runner.Leftovers()) {
      EXPECT_TRUE(IsKeptOnPurpose(item)) << where << " leaves one of " << item.from;
      if (IsKeptOnPurpose(item)) CloseLeftover(item);
    }
    std::size_t blocks = runner.LeftoverBlocks();
    if (GetParam().section == "create") {
      // A launcher that was not finished leaves what its finished games leave.
      EXPECT_LE(blocks, 2 * kBlocksPerLauncher) << where;
      EXPECT_GE(blocks, kBlocksPerLauncher) << where;
      EXPECT_EQ(blocks % kBlocksPerGame, 0U) << where;
    } else if (GetParam().section == "pipe" && blocks > kBlocksPerLauncher) {
      // A pipe that was closed with an operation outstanding: its memory goes when the next pipe is
      // closed.
      runner.Run();
      EXPECT_EQ(blocks + runner.LeftoverBlocks(), 2 * kBlocksPerLauncher) << where;
    } else {
      EXPECT_EQ(blocks, kBlocksPerLauncher) << where;
    }
  }

  SectionRunner runner;
};

TEST_P(FaultMemory, EveryAllocationMayFail) {
  const auto& [section, lasts] = GetParam();
  std::size_t usual = 0;
  runner.Run([&] { runner.Faults().Reset(); },
             [&] { usual = runner.Faults().Count("malloc") + runner.Faults().Count("realloc"); });
  CheckBalance("the first run");

  bool anyFailed = true;
  std::size_t number = 0;
  for (; anyFailed; ++number) {
    const std::size_t last = lasts ? std::numeric_limits<std::size_t>::max() : number;
    std::size_t others = 0;
    const Report report = runner.Run(
        [&] {
          runner.LetLoseEvents(true);
          runner.Faults().Fail("malloc", number, last, {});
          runner.Faults().Fail("realloc", number, last, {});
        },
        [&] {
          runner.LetLoseEvents(false);
          anyFailed = runner.Faults().FailedCount() > 0;
          others = runner.Faults().Count("calloc");
          runner.Faults().Reset();
        });
    const std::string where = section + ", allocation " + std::to_string(number);
    EXPECT_TRUE(IsAllowed(section, report)) << where << testing::PrintToString(report);
    EXPECT_EQ(runner.Complaint(), "") << where;
    EXPECT_EQ(others, 0U) << "these have to fail, too";
    CheckBalance(where);
  }
  // Not exactly: what waits for others asks more or less often.
  EXPECT_GT(usual, 0U);
  EXPECT_GE(number, usual / 2);
}

INSTANTIATE_TEST_SUITE_P(Sections, FaultMemory, testing::ValuesIn(Shortages()),
                         [](const auto& shortage) {
                           return shortage.param.section +
                                  (shortage.param.lasts ? "Lasting" : "Once");
                         });

// Every one of them throws inside the DLL at the same time, in threads that never threw before.
TEST(FaultMemoryThreads, ManyThreadsMayRunOutOfMemoryAtOnce) {
  constexpr int kThreads = 32;
  constexpr int kPosts = 200;
  DllHost host;
  ImportFaults faults(host.Module(), {"malloc"});
  faults.Fail("malloc", 0, std::numeric_limits<std::size_t>::max(), {});
  std::atomic<int> waiting = kThreads;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      for (int post = 0; post < kPosts; ++post) host.Post(L"source", L"name");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(faults.FailedCount(), 2U * kThreads * kPosts);  // the event, the exception
  faults.Reset();
  EXPECT_EQ(host.Notifications().CallCount(), 0);
  EXPECT_TRUE(host.Drain().empty());
  host.Post(L"source", L"name");
  EXPECT_EQ(host.Drain().size(), 1U);
}

}  // namespace
}  // namespace test_support
