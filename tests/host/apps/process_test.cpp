// How a running game is found in the list of processes, and ended.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <tuple>

#include "tests/support/child_process.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fake_process_list.h"
#include "tests/support/game_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

/// An installed game, looked for by both of its names.
class AppsProcess : public testing::Test {
 protected:
  const EnvironmentVariable notFaked{L"KOVLAUNCH_FAKE_X86", std::nullopt};
  const GameInstallation game;
  DllHost host;
  const HANDLE process = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF5));
};

TEST_F(AppsProcess, IsLookedForByBothNamesAfterTheProbe) {
  const FakeProcessList processes(host.Module(), {{4, L"a.exe"}, {8, L"AG4_x86.EXE"}});
  EXPECT_THAT(LogOf([&] { EXPECT_TRUE(host->IsRunning(kBrennaId)); }),
              EndsWith("BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to \n"
                       "BaseApp::IsProcessesRunning: Comparing a.exe with ag4.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing a.exe with ag4_x86.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing AG4_x86.EXE with ag4.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing AG4_x86.EXE with ag4_x86.exe\n"
                       "BaseApp::IsProcessesRunning: Found match, game is running\n"));
  // A new list for each question.
  EXPECT_TRUE(host->IsRunning(kBrennaId));
  EXPECT_THAT(processes.Snapshots(), ElementsAre(std::tuple(2U, 0U), std::tuple(2U, 0U)));
}

TEST_F(AppsProcess, IsNotLookedForWhenTheGameIsNotInstalled) {
  host->SetParameter(kBrennaId, L"registryKey", L"SOFTWARE\\none");
  const FakeProcessList processes(host.Module(), {{4, L"ag4.exe"}});
  EXPECT_FALSE(host->IsRunning(kBrennaId));
  EXPECT_FALSE(host->Kill(kBrennaId, true));
  EXPECT_TRUE(processes.Snapshots().empty());
}

// The answer to a process identifier of 0 is "no".
TEST_F(AppsProcess, ProcessZeroDoesNotCount) {
  const FakeProcessList processes(host.Module(), {{0, L"ag4.exe"}});
  EXPECT_FALSE(host->IsRunning(kBrennaId));
}

TEST_F(AppsProcess, KillEndsTheFirstMatchAloneWhateverTheFlag) {
  for (const bool flag : {false, true}) {
    const FakeProcessList processes(host.Module(),
                                    {{4, L"a.exe"}, {100, L"ag4_x86.exe"}, {200, L"ag4.exe"}});
    IMPORT_HOOK(OpenProcess) opens(host.Module(), [&](DWORD, BOOL, DWORD) { return process; });
    IMPORT_HOOK(TerminateProcess) ends(host.Module(), [](HANDLE, UINT) { return TRUE; });
    EXPECT_TRUE(host->Kill(kBrennaId, flag));
    EXPECT_THAT(opens.Calls(), ElementsAre(std::tuple(1U, FALSE, 100U)));
    EXPECT_THAT(ends.Calls(), ElementsAre(std::tuple(process, 0xFFFF8597U)));
    EXPECT_THAT(processes.OtherCloses(), ElementsAre(process));
    // Also when the system refuses.
    ends.FailAlways(FALSE, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(host->Kill(kBrennaId, flag));
    EXPECT_THAT(processes.OtherCloses(), ElementsAre(process, process));
  }
}

TEST_F(AppsProcess, KillFailsWhenTheProcessCannotBeOpened) {
  const FakeProcessList processes(host.Module(), {{100, L"ag4.exe"}});
  IMPORT_HOOK(OpenProcess) opens(host.Module());
  opens.FailAlways(nullptr, ERROR_ACCESS_DENIED);
  IMPORT_HOOK(TerminateProcess) ends(host.Module(), [](HANDLE, UINT) { return TRUE; });
  EXPECT_FALSE(host->Kill(kBrennaId, false));
  EXPECT_EQ(ends.CallCount(), 0U);
  EXPECT_TRUE(processes.OtherCloses().empty());
}

TEST_F(AppsProcess, KillOfAGameThatDoesNotRunTriesProcessZero) {
  IMPORT_HOOK(OpenProcess) opens(host.Module());
  IMPORT_HOOK(TerminateProcess) ends(host.Module(), [](HANDLE, UINT) { return TRUE; });
  EXPECT_FALSE(host->Kill(kBrennaId, false));
  EXPECT_THAT(opens.Calls(), ElementsAre(std::tuple(1U, FALSE, 0U)));
  EXPECT_EQ(ends.CallCount(), 0U);
}

// Real processes, found under either name in any case, one ended by each call.
TEST_F(AppsProcess, KilledGamesEndWithTheirExitCode) {
  EXPECT_FALSE(host->IsRunning(kBrennaId));
  const TempDirectory directory;
  const ChildProcess first = StartIdleProcess(directory.Join(L"AG4.exe"));
  const ChildProcess second = StartIdleProcess(directory.Join(L"ag4_x86.exe"));
  EXPECT_TRUE(host->Kill(kBrennaId, false));
  EXPECT_EQ(first.WaitForExit(kPatienceMs), 0xFFFF8597U);
  EXPECT_TRUE(second.IsRunning());
  EXPECT_TRUE(host->IsRunning(kBrennaId));
  EXPECT_TRUE(host->Kill(kBrennaId, true));
  EXPECT_EQ(second.WaitForExit(kPatienceMs), 0xFFFF8597U);
  EXPECT_FALSE(host->IsRunning(kBrennaId));
  EXPECT_FALSE(host->Kill(kBrennaId, false));
}

// "TAVR-GAME" runs as its executable, not as the program that starts it.
TEST(AppsStarterProcess, GameIsLookedForByItsExecutable) {
  const GameInstallation game(LR"(SOFTWARE\Brightwater Games\Ironvale Sentry)", L"TAVR.exe");
  DllHost host;
  const FakeProcessList processes(host.Module(), {{4, L"Launcher.exe"}, {8, L"tavr.exe"}});
  EXPECT_TRUE(host->IsRunning(L"TAVR-GAME"));
  IMPORT_HOOK(OpenProcess) opens(host.Module());
  opens.FailAlways(nullptr, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(host->Kill(L"TAVR-GAME", false));
  EXPECT_THAT(opens.Calls(), ElementsAre(std::tuple(1U, FALSE, 8U)));
}

}  // namespace
}  // namespace test_support
