// How a game is started through the helper program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/apps/game_probe.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fake_process_list.h"
#include "tests/support/game_installation.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

bool LaunchBrenna(DllHost& host, const wchar_t* commandLine, bool flag = true) {
  return host->Launch(kBrennaId, commandLine, flag, L"", L"", L"", L"");
}

/// The lines of a launch up to the start of the helper.
std::string LaunchLines(const GameInstallation& game, const std::string& commandLine) {
  const std::string directory = Narrow(game.InstallDir());
  return "BaseApp::DoLaunch:102: Launching:\n"
         ">>> BinaryName:  ag4.exe\n"
         ">>> BinaryPath:  " +
         directory +
         "ag4.exe\n"
         ">>> CommandLine: " +
         commandLine +
         "\n"
         ">>> WorkDir:     " +
         directory + "\n";
}

/// An installed game, a helper, and a shell that starts nothing.
class AppsLaunchGame : public testing::Test {
 protected:
  const HelperInstallation helper;
  const GameInstallation game;
  DllHost host;
  ShellRecorder shell{host.Module()};
};

TEST_F(AppsLaunchGame, SuccessIsLoggedStepByStepAndPosted) {
  bool launched = false;
  const std::string log = LogOf([&] { launched = LaunchBrenna(host, L"-windowed -x 1"); });
  EXPECT_TRUE(launched);
  EXPECT_EQ(log,
            "BaseApp::GetParameter: Parameter probeMethod not set, returning empty\n"
            "AshgroveApp::_SetupGame: Using probe method registry\n"
            "BaseApp::GetParameter: Parameter registryKey not set, returning empty\n"
            "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 4\n"
            "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n"
            "BaseApp::SetParameter: Setting parameter APP_VERSION to \n"
            "BaseApp::SetParameter: Setting parameter PUNKBUSTER_INSTALLED to 0\n"
            "BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to \n" +
                LaunchLines(game, "-windowed -x 1") + ">>> Success!\n");
  EXPECT_THAT(host.Drain(), ElementsAre(Event{L"BRENNA-GAME", L"StateChanged", {L"PENDING"}}));
  EXPECT_EQ(host.Notifications().CallCount(), 1);
}

TEST_F(AppsLaunchGame, HelperIsStartedThroughTheShell) {
  EXPECT_TRUE(LaunchBrenna(host, L"-windowed"));
  ASSERT_EQ(shell.Calls().size(), 1U);
  const ShellCall call = shell.Calls()[0];
  EXPECT_EQ(call.size, 112U);
  EXPECT_EQ(call.mask, 0x00100400U);
  EXPECT_EQ(call.window, nullptr);
  EXPECT_EQ(call.verb, L"open");
  EXPECT_EQ(call.file, helper.HelperPath());
  EXPECT_EQ(call.parameters, L"YES|SW_SHOWNA|" + game.InstallDir() + L"ag4.exe|ag4.exe|" +
                                 game.InstallDir() + L"|-windowed");
  EXPECT_EQ(call.show, 1);
  EXPECT_TRUE(call.isRestZero);
}

// The flag is the first field; nothing is quoted or escaped; the four further texts have no effect.
TEST_F(AppsLaunchGame, FlagAndCommandLineGoIntoTheLine) {
  for (const bool flag : {true, false}) {
    EXPECT_TRUE(host->Launch(kBrennaId, L"a|b \"c d\" %x% \u00fc", flag, L"1", L"2", L"3", L"4"));
    EXPECT_EQ(shell.Calls().back().parameters,
              (flag ? L"YES" : L"NO") + (L"|SW_SHOWNA|" + game.InstallDir()) + L"ag4.exe|ag4.exe|" +
                  game.InstallDir() + L"|a|b \"c d\" %x% \u00fc");
  }
}

TEST_F(AppsLaunchGame, StartupInformationIsReadFirst) {
  const StreamCapture log;
  std::string logBefore;
  IMPORT_HOOK(GetStartupInfoW) startup(host.Module());
  startup.SetReplacement([&](STARTUPINFOW* info) {
    logBefore = log.Text();
    startup.CallOriginal(info);
  });
  EXPECT_TRUE(LaunchBrenna(host, L""));
  EXPECT_EQ(startup.CallCount(), 1U);
  EXPECT_THAT(logBefore,
              EndsWith("BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to \n"));
}

TEST(AppsLaunch, GameThatIsNotInstalledIsNotLaunched) {
  const HelperInstallation helper;
  const GameInstallation game(kBrennaKey, L"other.exe");
  DllHost host;
  const ShellRecorder shell(host.Module());
  bool launched = true;
  EXPECT_THAT(LogOf([&] { launched = LaunchBrenna(host, L""); }),
              EndsWith("ag4.exe with error 2)\n"
                       "AshgroveApp::Launch: Game is not properly probed, aborting\n"));
  EXPECT_FALSE(launched);
  EXPECT_THAT(shell.Calls(), IsEmpty());
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST(AppsLaunch, MissingHelperFailsWithoutABox) {
  const HelperInstallation helper(HelperInstallation::Helper::kNone);
  const GameInstallation game;
  DllHost host;
  const ShellRecorder shell(host.Module());
  IMPORT_HOOK(MessageBoxW) boxes(host.Module());
  boxes.FailAlways(IDOK);
  bool launched = true;
  EXPECT_THAT(LogOf([&] { launched = LaunchBrenna(host, L"c"); }),
              EndsWith(LaunchLines(game, "c") + "BaseApp::DoLaunch: wstat of file " +
                       Narrow(helper.HelperPath()) + " failed\n"));
  EXPECT_FALSE(launched);
  EXPECT_THAT(shell.Calls(), IsEmpty());
  EXPECT_EQ(boxes.CallCount(), 0U);
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(host.Notifications().CallCount(), 0);
}

TEST(AppsLaunch, HelperIsLookedForOnEveryCall) {
  const EnvironmentVariable unset(L"KOVLAUNCH_INSTDIR", std::nullopt);
  const GameInstallation game;
  DllHost host;
  const ShellRecorder shell(host.Module());
  // An unknown installation directory is an empty prefix.
  EXPECT_THAT(LogOf([&] { EXPECT_FALSE(LaunchBrenna(host, L"")); }),
              EndsWith("BaseApp::DoLaunch: wstat of file \\helperx64.exe failed\n"));
  EXPECT_THAT(shell.Calls(), IsEmpty());
  // A directory of its name passes for the helper.
  const HelperInstallation installation(HelperInstallation::Helper::kNone);
  installation.Directory().MakeDirectory(L"helperx64.exe");
  EXPECT_TRUE(LaunchBrenna(host, L""));
  EXPECT_EQ(shell.Calls().at(0).file, installation.HelperPath());
}

TEST_F(AppsLaunchGame, HelperIsLookedForOnceAndAfterTheLines) {
  const StreamCapture log;
  std::vector<std::string> lookUps;
  const auto note = [&](const std::wstring& what) {
    if (what == L"KOVLAUNCH_INSTDIR" || what == helper.HelperPath()) lookUps.push_back(log.Text());
  };
  IMPORT_HOOK(GetEnvironmentVariableW) variables(host.Module());
  variables.SetReplacement([&](const wchar_t* name, wchar_t* value, DWORD size) {
    note(name);
    return variables.CallOriginal(name, value, size);
  });
  FileStatusHook status(host.Module());
  status.SetReplacement([&](const wchar_t* path, struct _stat64* data) {
    note(path);
    return status.CallOriginal(path, data);
  });
  EXPECT_TRUE(LaunchBrenna(host, L"c"));
  const auto afterTheLines = EndsWith(LaunchLines(game, "c"));
  EXPECT_THAT(lookUps, ElementsAre(afterTheLines, afterTheLines));
}

TEST_F(AppsLaunchGame, ShellFailureIsLoggedAndShown) {
  const std::pair<UINT_PTR, const char*> cases[] = {
      {31, "0000001f"}, {0xDEADBEEF, "deadbeef"}, {0x1234567800000ABC, "00000abc"}};
  const DWORD hostThread = GetCurrentThreadId();
  for (const auto& [handle, digits] : cases) {
    const StreamCapture log;
    const std::string failureLine = ">>> ShellExecuteEx failed with " + std::string(digits) + "!\n";
    IMPORT_HOOK(MessageBoxW) boxes(host.Module());
    boxes.SetReplacement([&](HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
      EXPECT_EQ(owner, nullptr);
      EXPECT_STREQ(text, L"Could not execute binary");
      EXPECT_STREQ(caption, L"Vantor Web Plugins");
      EXPECT_EQ(type, 16U);
      EXPECT_EQ(GetCurrentThreadId(), hostThread);  // which it blocks
      EXPECT_THAT(log.Text(), EndsWith(LaunchLines(game, "c") + failureLine));
      return IDOK;
    });
    shell.Fail(handle);
    EXPECT_FALSE(LaunchBrenna(host, L"c"));
    EXPECT_EQ(boxes.CallCount(), 1U);
    EXPECT_THAT(log.Text(), EndsWith(failureLine));
  }
  EXPECT_EQ(shell.Calls().size(), 3U);
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(host.Notifications().CallCount(), 0);
}

// The kit's helper really starts the program that its line names: here a game that ends by itself.
TEST(AppsLaunch, RealHelperStartsTheProgram) {
  const HelperInstallation helper(HelperInstallation::Helper::kKitProgram);
  const GameInstallation game(kSolanoKey, L"placeholder");
  game.Directory().CopyFile(ProgramDirectory() + L"\\demo_game.exe", kSolanoName);
  const std::wstring gameLog = game.Directory().Join(L"game.txt");
  DllHost host;
  const std::wstring commandLine = L"--wait 60 --send \"Joined Aldo 3\" --log \"" + gameLog + L"\"";
  EXPECT_TRUE(host->Launch(kSolanoId, commandLine.c_str(), true, L"", L"", L"", L""));
  EXPECT_EQ(host.WaitForEvent(L"StateChanged"),
            (Event{L"SOLANO-GAME", L"StateChanged", {L"PENDING"}}));
  EXPECT_THAT(helper.WaitForParameterLines(1, kPatienceMs),
              ElementsAre(L"YES|SW_SHOWNA|" + game.InstallDir() + L"ag3.exe|ag3.exe|" +
                          game.InstallDir() + L"|" + commandLine));
  EXPECT_EQ(host.WaitForEvent(L"StateChanged", kPatienceMs, DllHost::Polling::kPollApps),
            (Event{L"SOLANO-GAME", L"StateChanged", {L"READY"}}));
  EXPECT_TRUE(host->IsRunning(kSolanoId));
  EXPECT_EQ(host.WaitForEvent(L"Joined", kPatienceMs, DllHost::Polling::kPollApps),
            (Event{L"SOLANO-GAME", L"Joined", {L"Aldo", L"3"}}));
  EXPECT_TRUE(host->Kill(kSolanoId, false));
  EXPECT_EQ(host.WaitForEvent(L"StateChanged", kPatienceMs, DllHost::Polling::kPollApps),
            (Event{L"SOLANO-GAME", L"StateChanged", {L"GAMEISGONE"}}));
}

// "TAVR-GAME" has a starter program of its own.

// The host's directory counts; its executable is only looked for among the processes.
TEST(AppsLaunch, StarterIsLaunchedInPlaceOfTheHostsExecutable) {
  const HelperInstallation helper;
  const TempDirectory directory;
  const std::wstring program = directory.WriteFile(L"play.exe", "");
  DllHost host;
  host->SetParameter(L"TAVR-GAME", L"probeMethod", L"path");
  host->SetParameter(L"TAVR-GAME", L"workingDirectory", LR"(C:\a)");
  host->SetParameter(L"TAVR-GAME", L"binaryPath", program.c_str());
  host->SetParameter(L"TAVR-GAME", L"binaryName", L"play.exe");
  const ShellRecorder shell(host.Module());
  EXPECT_TRUE(host->Launch(L"TAVR-GAME", L"-x", true, L"", L"", L"", L""));
  ASSERT_EQ(shell.Calls().size(), 1U);
  EXPECT_EQ(shell.Calls()[0].parameters,
            LR"(YES|SW_SHOWNA|C:\a\\Launcher.exe|Launcher.exe|C:\a\|-x)");

  const FakeProcessList processes(host.Module(), {{4, L"other.exe"}});
  const std::string scanLines =
      "BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to \n"
      "BaseApp::IsProcessesRunning: Comparing other.exe with play.exe\n"
      "BaseApp::IsProcessesRunning: Process32Next failed\n"
      "BaseApp::IsProcessesRunning: Found no match, game is not running\n";
  EXPECT_THAT(LogOf([&] { EXPECT_FALSE(host->IsRunning(L"TAVR-GAME")); }), EndsWith(scanLines));
  EXPECT_THAT(LogOf([&] { EXPECT_FALSE(host->Kill(L"TAVR-GAME", false)); }), EndsWith(scanLines));

  std::filesystem::remove(program);
  EXPECT_FALSE(host->Launch(L"TAVR-GAME", L"-x", true, L"", L"", L"", L""));
  EXPECT_EQ(shell.Calls().size(), 1U);
}

TEST(AppsLaunch, StarterOfAGameThatIsNotInstalledIsNotLaunched) {
  const HelperInstallation helper;
  DllHost host;
  const ShellRecorder shell(host.Module());
  bool launched = true;
  EXPECT_THAT(LogOf([&] { launched = host->Launch(L"TAVR-GAME", L"", true, L"", L"", L"", L""); }),
              EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to open "
                       "SOFTWARE\\Brightwater Games\\Ironvale Sentry (2)\n"
                       "TAVRGame::Launch: Game is not properly probed, aborting\n"));
  EXPECT_FALSE(launched);
  EXPECT_THAT(shell.Calls(), IsEmpty());
  EXPECT_THAT(host.Drain(), IsEmpty());
}

}  // namespace
}  // namespace test_support
