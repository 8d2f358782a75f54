// What whole lives of a launcher leave behind, counted from outside: handles in the system's list,
// memory on the heaps of the process.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <ostream>

#include "tests/host/fault_scenario.h"
#include "tests/support/environment_variable.h"
#include "tests/support/helper_installation.h"
#include "tests/support/process_snapshot.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

constexpr std::size_t kWarmUp = 5;
constexpr std::ptrdiff_t kLives = 20;

constexpr std::size_t kSpans = 3;

struct Growth {
  std::ptrdiff_t handles = 0;
  std::ptrdiff_t blocks = 0;
};

std::ptrdiff_t Middle(std::array<std::ptrdiff_t, kSpans> values) {
  std::sort(values.begin(), values.end());
  return values[kSpans / 2];
}

// What `kLives` lives leave. Locks of the system and of the runtime make a handle when two threads
// first meet there, at a moment of their own; that falls into one span, while what each life leaves
// falls into every one. Failed expectations are written to standard output, so it is caught here
// alone.
template <typename Life>
Growth GrowthOf(const Life& life) {
  const StreamCapture errors;
  const StreamCapture output(StreamCapture::Stream::kOutput);
  for (std::size_t i = 0; i < kWarmUp; ++i) life();
  std::array<std::ptrdiff_t, kSpans> handles;
  std::array<std::ptrdiff_t, kSpans> blocks;
  for (std::size_t span = 0; span < kSpans; ++span) {
    const std::size_t handlesBefore = CountHandles();
    const std::size_t blocksBefore = MeasureHeaps().blocks;
    for (std::ptrdiff_t i = 0; i < kLives; ++i) life();
    handles[span] = static_cast<std::ptrdiff_t>(CountHandles() - handlesBefore);
    blocks[span] = static_cast<std::ptrdiff_t>(MeasureHeaps().blocks - blocksBefore);
  }
  return {Middle(handles), Middle(blocks)};
}

class Balance : public testing::Test {
 protected:
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
  const Growth growth = GrowthOf([&] {
    Report report;
    if (!section->CreatesLauncher()) host.Create();
    section->Run(host, report);
    host.Destroy();
  });
  EXPECT_EQ(growth.handles, kLives * GetParam().handles);
  // Seven games with three blocks each.
  EXPECT_EQ(growth.blocks, kLives * 21);
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

TEST_F(Balance, ABatchWithoutAHelperLeavesItsPipe) {
  const HelperInstallation nothing(HelperInstallation::Helper::kNone);
  const Growth growth = GrowthOf([&] {
    host.Create();
    host->PingBatch(L"batch", nullptr, 0);
    host.Destroy();
  });
  EXPECT_EQ(growth.handles, kLives);
  EXPECT_EQ(growth.blocks, kLives * 21);
}

TEST_F(Balance, AnInstallationThatCannotBeReadLeavesItsKey) {
  const EnvironmentVariable noVariable(L"KOVLAUNCH_INSTDIR", std::nullopt);
  RegistryFixture registry;
  registry.CreateKey(kInstallKey);
  registry.SetText(LR"(SOFTWARE\Ostrel)", L"ClientVersion", L"9.8");
  const Growth growth = GrowthOf([&] {
    host.Create();
    host->Launch(L"OSTREL-APP", L"", false, L"", L"", L"", L"");
    host.Destroy();
  });
  // And the store's key.
  EXPECT_EQ(growth.handles, kLives * 2);
  EXPECT_EQ(growth.blocks, kLives * 21);
}

}  // namespace
}  // namespace test_support
