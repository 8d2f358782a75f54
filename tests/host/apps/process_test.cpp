// How a running game is found in the list of processes, and ended.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

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

// What every look-up of the game writes before its processes are looked at.
const std::string kProbeLines =
    "BaseApp::GetParameter: Parameter probeMethod not set, returning empty\n"
    "AshgroveApp::_SetupGame: Using probe method registry\n"
    "BaseApp::GetParameter: Parameter registryKey not set, returning empty\n"
    "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 4\n"
    "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n"
    "BaseApp::SetParameter: Setting parameter APP_VERSION to \n"
    "BaseApp::SetParameter: Setting parameter PUNKBUSTER_INSTALLED to 0\n"
    "BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to \n";

/// An installed game, looked for by both of its names.
class AppsProcess : public testing::Test {
 protected:
  const EnvironmentVariable notFaked{L"KOVLAUNCH_FAKE_X86", std::nullopt};
  const GameInstallation game;
  DllHost host;
};

TEST_F(AppsProcess, FirstMatchIsLoggedStepByStep) {
  const FakeProcessList processes(host.Module(), {{4, L"a.exe"}, {8, L"AG4_x86.EXE"}, {12, L"b"}});
  bool running = false;
  EXPECT_EQ(LogOf([&] { running = host->IsRunning(kBrennaId); }),
            kProbeLines +
                "BaseApp::IsProcessesRunning: Comparing a.exe with ag4.exe\n"
                "BaseApp::IsProcessesRunning: Comparing a.exe with ag4_x86.exe\n"
                "BaseApp::IsProcessesRunning: Comparing AG4_x86.EXE with ag4.exe\n"
                "BaseApp::IsProcessesRunning: Comparing AG4_x86.EXE with ag4_x86.exe\n"
                "BaseApp::IsProcessesRunning: Found match, game is running\n");
  EXPECT_TRUE(running);
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

TEST_F(AppsProcess, NoMatchIsLoggedStepByStep) {
  const FakeProcessList processes(host.Module(), {{4, L"a.exe"}, {8, L"ag4"}});
  bool running = true;
  EXPECT_EQ(LogOf([&] { running = host->IsRunning(kBrennaId); }),
            kProbeLines +
                "BaseApp::IsProcessesRunning: Comparing a.exe with ag4.exe\n"
                "BaseApp::IsProcessesRunning: Comparing a.exe with ag4_x86.exe\n"
                "BaseApp::IsProcessesRunning: Comparing ag4 with ag4.exe\n"
                "BaseApp::IsProcessesRunning: Comparing ag4 with ag4_x86.exe\n"
                "BaseApp::IsProcessesRunning: Process32Next failed\n"
                "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
  EXPECT_FALSE(running);
}

// Between the two last lines.
TEST_F(AppsProcess, SnapshotIsClosedBeforeTheVerdict) {
  FakeProcessList processes(host.Module(), {});
  processes.FailEntry(1);
  const StreamCapture log;
  std::string logBefore;
  processes.OnSnapshotClosed([&] { logBefore = log.Text(); });
  EXPECT_FALSE(host->IsRunning(kBrennaId));
  EXPECT_THAT(logBefore, EndsWith("BaseApp::IsProcessesRunning: Process32First failed\n"));
}

TEST_F(AppsProcess, GameThatIsNotInstalledDoesNotRun) {
  DllHost other;
  other->SetParameter(kBrennaId, L"registryKey", L"SOFTWARE\\none");
  const FakeProcessList processes(other.Module(), {{4, L"ag4.exe"}});
  EXPECT_FALSE(other->IsRunning(kBrennaId));
  EXPECT_FALSE(other->Kill(kBrennaId, true));
  EXPECT_TRUE(processes.Snapshots().empty());
}

TEST_F(AppsProcess, EveryQuestionTakesANewSnapshot) {
  const FakeProcessList processes(host.Module(), {{4, L"ag4.exe"}});
  EXPECT_TRUE(host->IsRunning(kBrennaId));
  EXPECT_TRUE(host->IsRunning(kBrennaId));
  EXPECT_THAT(processes.Snapshots(), ElementsAre(std::tuple(2U, 0U), std::tuple(2U, 0U)));
}

// The answer to a process identifier of 0 is "no".
TEST_F(AppsProcess, ProcessZeroDoesNotCount) {
  const FakeProcessList processes(host.Module(), {{0, L"ag4.exe"}});
  EXPECT_FALSE(host->IsRunning(kBrennaId));
}

TEST_F(AppsProcess, RealProcessIsFoundUnderEitherName) {
  for (const wchar_t* const name : {L"ag4.exe", L"ag4_x86.exe", L"AG4.EXE"}) {
    const TempDirectory directory;
    EXPECT_FALSE(host->IsRunning(kBrennaId)) << name;
    const ChildProcess process = StartIdleProcess(directory.Join(name));
    EXPECT_TRUE(host->IsRunning(kBrennaId)) << name;
  }
  EXPECT_FALSE(host->IsRunning(kBrennaId));
}

TEST_F(AppsProcess, KillEndsTheFirstMatchAloneWhateverTheFlag) {
  const HANDLE process = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF5));
  for (const bool flag : {false, true}) {
    const FakeProcessList processes(host.Module(),
                                    {{4, L"a.exe"}, {100, L"ag4_x86.exe"}, {200, L"ag4.exe"}});
    IMPORT_HOOK(OpenProcess) opens(host.Module(), [&](DWORD, BOOL, DWORD) { return process; });
    IMPORT_HOOK(TerminateProcess) ends(host.Module(), [](HANDLE, UINT) { return TRUE; });
    bool killed = false;
    const std::string log = LogOf([&] { killed = host->Kill(kBrennaId, flag); });
    EXPECT_TRUE(killed) << flag;
    EXPECT_EQ(log, kProbeLines +
                       "BaseApp::IsProcessesRunning: Comparing a.exe with ag4.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing a.exe with ag4_x86.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing ag4_x86.exe with ag4.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing ag4_x86.exe with ag4_x86.exe\n"
                       "BaseApp::IsProcessesRunning: Found match, game is running\n")
        << flag;
    EXPECT_THAT(opens.Calls(), ElementsAre(std::tuple(1U, FALSE, 100U))) << flag;
    EXPECT_THAT(ends.Calls(), ElementsAre(std::tuple(process, 0xFFFF8597U))) << flag;
    EXPECT_THAT(processes.OtherCloses(), ElementsAre(process)) << flag;
  }
}

TEST_F(AppsProcess, KillSucceedsEvenWhenTheProcessCannotBeEnded) {
  const FakeProcessList processes(host.Module(), {{100, L"ag4.exe"}});
  const HANDLE process = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF5));
  IMPORT_HOOK(OpenProcess) opens(host.Module(), [&](DWORD, BOOL, DWORD) { return process; });
  IMPORT_HOOK(TerminateProcess) ends(host.Module());
  ends.FailAlways(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(host->Kill(kBrennaId, false));
  EXPECT_EQ(ends.CallCount(), 1U);
  EXPECT_THAT(processes.OtherCloses(), ElementsAre(process));
}

TEST_F(AppsProcess, KillFailsWhenTheProcessCannotBeOpened) {
  const FakeProcessList processes(host.Module(), {{100, L"ag4.exe"}});
  IMPORT_HOOK(OpenProcess) opens(host.Module());
  opens.FailAlways(nullptr, ERROR_ACCESS_DENIED);
  IMPORT_HOOK(TerminateProcess) ends(host.Module(), [](HANDLE, UINT) { return TRUE; });
  EXPECT_FALSE(host->Kill(kBrennaId, false));
  EXPECT_EQ(opens.CallCount(), 1U);
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

TEST_F(AppsProcess, KilledGameEndsWithItsExitCode) {
  for (const bool flag : {false, true}) {
    const TempDirectory directory;
    const ChildProcess process = StartIdleProcess(directory.Join(L"ag4.exe"));
    EXPECT_TRUE(host->Kill(kBrennaId, flag));
    EXPECT_EQ(process.WaitForExit(kPatienceMs), 0xFFFF8597U);
    EXPECT_FALSE(host->IsRunning(kBrennaId));
    EXPECT_FALSE(host->Kill(kBrennaId, flag));
  }
}

TEST_F(AppsProcess, OneProcessIsEndedByEachCall) {
  const TempDirectory directory;
  const ChildProcess first = StartIdleProcess(directory.Join(L"ag4.exe"));
  const ChildProcess second = StartIdleProcess(directory.Join(L"ag4_x86.exe"));
  EXPECT_TRUE(host->Kill(kBrennaId, false));
  EXPECT_EQ(first.WaitForExit(kPatienceMs), 0xFFFF8597U);
  EXPECT_TRUE(second.IsRunning());
  EXPECT_TRUE(host->IsRunning(kBrennaId));
  EXPECT_TRUE(host->Kill(kBrennaId, false));
  EXPECT_EQ(second.WaitForExit(kPatienceMs), 0xFFFF8597U);
  EXPECT_FALSE(host->Kill(kBrennaId, false));
}

// "TAVR-GAME" runs as its executable, not as the program that starts it.
TEST(AppsStarterProcess, GameIsLookedForByItsExecutable) {
  const GameInstallation game(LR"(SOFTWARE\Brightwater Games\Ironvale Sentry)", L"TAVR.exe");
  DllHost host;
  const FakeProcessList processes(host.Module(), {{4, L"Launcher.exe"}, {8, L"tavr.exe"}});
  EXPECT_THAT(LogOf([&] { EXPECT_TRUE(host->IsRunning(L"TAVR-GAME")); }),
              EndsWith("BaseApp::IsProcessesRunning: Comparing Launcher.exe with TAVR.exe\n"
                       "BaseApp::IsProcessesRunning: Comparing tavr.exe with TAVR.exe\n"
                       "BaseApp::IsProcessesRunning: Found match, game is running\n"));
  IMPORT_HOOK(OpenProcess) opens(host.Module());
  opens.FailAlways(nullptr, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(host->Kill(L"TAVR-GAME", false));
  EXPECT_THAT(opens.Calls(), ElementsAre(std::tuple(1U, FALSE, 8U)));
}

}  // namespace
}  // namespace test_support
