// What whole lives of a launcher leave behind, counted from outside: handles in the system's list,
// memory on the heaps of the process.
#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>

#include "tests/host/robustness/fault_scenario.h"
#include "tests/support/environment_variable.h"
#include "tests/support/growth.h"
#include "tests/support/helper_installation.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

// Failed expectations are written to standard output, so it is caught for all lives alone.
template <typename Life>
Growth QuietGrowthOf(const Life& life) {
  const StreamCapture errors;
  const StreamCapture output(StreamCapture::Stream::kOutput);
  return GrowthOf(life);
}

class Balance : public testing::Test {
 protected:
  // What is left on purpose by a life in which nothing happens.
  std::ptrdiff_t BlocksOfAnEmptyLife() {
    return QuietGrowthOf([&] {
             host.Create();
             host.Destroy();
           })
        .blocks;
  }

  DllHost host{DllHost::Creation::kLater};
};

struct Kept {
  const char* section;
  // Handles that one life leaves open on purpose.
  std::ptrdiff_t handles;
};

void PrintTo(const Kept& kept, std::ostream* out) { *out << kept.section; }

class BalanceOfSection : public Balance, public testing::WithParamInterface<Kept> {};

TEST_P(BalanceOfSection, IsWhatIsMeantToBeLeft) {
  const auto section = MakeSection(GetParam().section);
  section->Prepare(host.Module());
  const Growth growth = QuietGrowthOf([&] {
    Report report;
    if (!section->CreatesLauncher()) host.Create();
    section->Run(host, report);
    host.Destroy();
  });
  EXPECT_EQ(growth.handles, kGrowthTimes * GetParam().handles);
  EXPECT_EQ(growth.blocks, BlocksOfAnEmptyLife());
}

INSTANTIATE_TEST_SUITE_P(Sections, BalanceOfSection,
                         testing::Values(Kept{"create", 0},
                                         // The keys of the game's two look-ups by registry and of
                                         // the store's.
                                         Kept{"probe", 3},
                                         // The store's key.
                                         Kept{"launch", 1}, Kept{"process", 0}, Kept{"settings", 0},
                                         Kept{"pipe", 0}, Kept{"ping", 0}, Kept{"query", 0}),
                         [](const auto& kept) { return std::string(kept.param.section); });

TEST_F(Balance, AnEmptyLifeLeavesThreeBlocksOfEachGame) {
  EXPECT_EQ(BlocksOfAnEmptyLife(), kGrowthTimes * 7 * 3);
}

TEST_F(Balance, ABatchWithoutAHelperLeavesItsPipe) {
  const HelperInstallation nothing(HelperInstallation::Helper::kNone);
  const Growth growth = QuietGrowthOf([&] {
    host.Create();
    host->PingBatch(L"batch", nullptr, 0);
    host.Destroy();
  });
  EXPECT_EQ(growth.handles, kGrowthTimes);
  EXPECT_EQ(growth.blocks, BlocksOfAnEmptyLife());
}

TEST_F(Balance, AnInstallationThatCannotBeReadLeavesItsKey) {
  const EnvironmentVariable noVariable(L"KOVLAUNCH_INSTDIR", std::nullopt);
  RegistryFixture registry;
  registry.CreateKey(kInstallKey);
  registry.SetText(LR"(SOFTWARE\Ostrel)", L"ClientVersion", L"9.8");
  const Growth growth = QuietGrowthOf([&] {
    host.Create();
    host->Launch(L"OSTREL-APP", L"", false, L"", L"", L"", L"");
    host.Destroy();
  });
  // And the store's key.
  EXPECT_EQ(growth.handles, kGrowthTimes * 2);
  EXPECT_EQ(growth.blocks, BlocksOfAnEmptyLife());
}

}  // namespace
}  // namespace test_support
