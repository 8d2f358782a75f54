// What happens while the DLL is loaded and freed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/growth.h"
#include "tests/support/pe_file.h"
#include "tests/support/pipe_server.h"

namespace test_support {
namespace {

constexpr int kTimes = 100;

// Another DLL would be loaded under the loader's lock.
TEST(CoreLoading, AsksNoCryptographicProviderForTheStackGuard) {
  for (const Import& import : PeFile(LauncherDllPath()).Imports()) {
    EXPECT_THAT(import.function, testing::Not(testing::StartsWith("Crypt")));
  }
}

TEST(CoreLoading, CanBeRepeatedAndLeavesNothing) {
  const Growth growth = GrowthOf([] { const LauncherDll dll; });
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.blocks, 0);
  for (int i = 0; i < kTimes; ++i) {
    const DllHost host;
    EXPECT_NE(host.Launcher(), nullptr);
  }
  EXPECT_EQ(GetModuleHandleW(L"launcher.dll"), nullptr);
}

TEST(CoreLoading, WorksInsideTheInitialisationOfAnotherDll) {
  const EnvironmentVariable path(L"LAUNCHER_DLL_TO_LOAD", LauncherDllPath());
  for (int i = 0; i < kTimes; ++i) {
    const HMODULE loading = LoadLibraryW((ProgramDirectory() + L"\\loading.dll").c_str());
    ASSERT_NE(loading, nullptr);
    EXPECT_EQ(GetModuleHandleW(L"launcher.dll"), nullptr);
    FreeLibrary(loading);
  }
}

// A host that forgot its launcher: the pipe stays open, and what the game sends later still goes to
// memory of the DLL's that nobody else has got.
TEST(CoreLoading, FreeingTheDllLeavesOutstandingOperationsOfAPipeTheirMemory) {
  PipeServer game(LR"(\\.\pipe\solano_pellmar)");
  {
    const LauncherDll dll;
    ILauncher* const launcher = dll.createLauncher(nullptr, nullptr);
    launcher->PollApps();
    ASSERT_TRUE(game.Accept(kPatienceMs));
    launcher->PollApps();
  }
  ASSERT_EQ(GetModuleHandleW(L"launcher.dll"), nullptr);
  const std::size_t blocks = MeasureHeaps().blocks;
  EXPECT_TRUE(game.Write(std::string(1000, 'x'), kPatienceMs));
  game.Close();
  EXPECT_LE(MeasureHeaps().blocks, blocks);
}

}  // namespace
}  // namespace test_support
