// doctor: why a game is not found, does not start, does not answer.

#include <memory>

#include "tests/console/console_run.h"
#include "tests/support/environment_variable.h"
#include "tests/support/game_installation.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

class ConsoleDoctor : public ConsoleTest {
 protected:
  // Whether exactly one finding begins so.
  testing::AssertionResult Finds(const ConsoleRun& run, const std::string& line) const {
    if (CountOf(run.output, "\n  " + line) == 1) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not once \"" << line << "\" in\n" << run.output;
  }

  const EnvironmentVariable installation{L"KOVLAUNCH_INSTDIR", ProgramDirectory()};
  const EnvironmentVariable mode{L"KIT_HELPER_PING_MODE", L"fixed"};
};

TEST_F(ConsoleDoctor, FindsNothingAmiss) {
  const ConsoleRun run = Run(L"doctor");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_TRUE(run.output.starts_with("launcher.dll\n  ok       version 162 was loaded from "));
  EXPECT_TRUE(Finds(run, "ok       it starts and answers a ping batch\n"));
  EXPECT_TRUE(run.output.ends_with("\nno problems\n")) << run.output;
}

TEST_F(ConsoleDoctor, FindsThatTheHelperIsMissing) {
  installation.Set(work.Path());
  const ConsoleRun run = Run(L"doctor");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_TRUE(Finds(run, "problem  " + Narrow(work.Path()) + "\\helperx64.exe is missing"));
  EXPECT_TRUE(run.output.ends_with("\n1 problem\n")) << run.output;
}

TEST_F(ConsoleDoctor, FindsThatThereIsNoInstallation) {
  installation.Set(std::nullopt);
  EXPECT_TRUE(Finds(Run(L"doctor"), "problem  no installation folder: "));
}

TEST_F(ConsoleDoctor, FindsAFolderThatTheLauncherIgnores) {
  installation.Set(std::nullopt);
  RegistryFixture registry;
  registry.SetText(LR"(SOFTWARE\Vantor Web Plugins)", nullptr, L"C:\\" + std::wstring(127, L'x'));
  EXPECT_TRUE(Finds(Run(L"doctor"),
                    "problem  the installation folder in the registry is longer than 129 "));
}

TEST_F(ConsoleDoctor, FindsThatTheHelperGivesNoTimes) {
  mode.Set(L"silent");
  EXPECT_TRUE(Finds(Run(L"doctor"), "problem  it was asked for a ping batch and gave no times"));
}

TEST_F(ConsoleDoctor, FindsThatTheHelperHangs) {
  mode.Set(L"absent");
  EXPECT_TRUE(
      Finds(Run(L"doctor --patience 1"), "problem  it has not answered a ping batch for 1 s: "));
}

TEST_F(ConsoleDoctor, AMissingGameIsAProblemOnlyWhenAskedFor) {
  const std::string text = R"(there is no registry key HKEY_LOCAL_MACHINE\SOFTWARE\Hollin Games\)"
                           "Ashgrove 3 (32-bit view)\n";
  EXPECT_TRUE(Finds(Run(L"doctor"), "note     " + text));
  const ConsoleRun run = Run(L"doctor SOLANO-GAME");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_TRUE(Finds(run, "problem  " + text));
}

TEST_F(ConsoleDoctor, FindsAKeyInTheWrongView) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSolanoKey, 0, nullptr, 0,
                            KEY_WRITE | KEY_WOW64_64KEY, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(key);
  const ConsoleRun run = Run(L"doctor SOLANO-GAME");
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kSolanoKey, KEY_WOW64_64KEY, 0);
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, LR"(SOFTWARE\Hollin Games)", KEY_WOW64_64KEY, 0);
  EXPECT_EQ(CountOf(run.output, "exists in the 64-bit view only"), 1U) << run.output;
}

TEST_F(ConsoleDoctor, FindsThatTheValueIsMissing) {
  RegistryFixture registry;
  registry.CreateKey(kSolanoKey);
  EXPECT_TRUE(
      Finds(Run(L"doctor SOLANO-GAME"), "problem  the key has no text value \"Install Dir\"\n"));
}

TEST_F(ConsoleDoctor, FindsAFolderThatIsTooLong) {
  RegistryFixture registry;
  registry.SetText(kSolanoKey, L"Install Dir", L"C:\\" + std::wstring(124, L'x'));
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"),
                    "problem  the folder in \"Install Dir\" is longer than 126 characters"));
}

TEST_F(ConsoleDoctor, FindsThatTheProgramIsMissing) {
  const GameInstallation game(kSolanoKey, L"other.exe");
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"),
                    "problem  the program is missing: " + Narrow(game.InstallDir()) + "ag3.exe\n"));
}

TEST_F(ConsoleDoctor, FollowsThePathMethod) {
  const std::wstring program = work.WriteFile(L"ag3.exe", "");
  Run(L"set SOLANO-GAME probeMethod=path");
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"), "problem  binaryPath is not set\n"));
  Run(L"set SOLANO-GAME \"binaryPath=" + program + L"\"");
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"), "ok       the program is " + Narrow(program)));
}

TEST_F(ConsoleDoctor, NotesAMethodThatIsNone) {
  Run(L"set SOLANO-GAME probeMethod=Path");
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"), "note     probeMethod is 'Path'; "));
}

TEST_F(ConsoleDoctor, FindsThatTheStarterIsMissing) {
  const GameInstallation game(LR"(SOFTWARE\Brightwater Games\Ironvale Sentry)", L"TAVR.exe");
  EXPECT_TRUE(Finds(Run(L"doctor TAVR-GAME"), "problem  the game is started by Launcher.exe"));
}

TEST_F(ConsoleDoctor, FindsTheVersionOfTheStoreClient) {
  EXPECT_TRUE(Finds(Run(L"doctor OSTREL-APP"), "problem  the registry key "));
  RegistryFixture registry;
  registry.SetText(LR"(SOFTWARE\Ostrel)", L"ClientVersion", L"9.4.17");
  const ConsoleRun run = Run(L"doctor OSTREL-APP");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_TRUE(Finds(run,
                    "ok       \"ClientVersion\" in HKEY_LOCAL_MACHINE\\SOFTWARE\\Ostrel is "
                    "9.4.17\n"));
}

/// The demo game plays SOLANO-GAME.
class ConsoleDoctorOfARunningGame : public ConsoleDoctor {
 protected:
  ConsoleDoctorOfARunningGame() {
    program = game.Directory().CopyFile(ProgramDirectory() + L"\\demo_game.exe", kSolanoName);
  }

  const GameInstallation game{kSolanoKey, L"placeholder.exe"};
  std::wstring program;
};

TEST_F(ConsoleDoctorOfARunningGame, FindsTheOwnerOfThePipe) {
  KitProgram running(program, L"--stay");
  running.WaitForLine("game: process ");
  const std::string process = "ag3.exe, process " + std::to_string(GetProcessId(running.Process()));
  const ConsoleRun run = Run(L"doctor SOLANO-GAME");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_TRUE(Finds(run, "ok       running: " + process + "\n"));
  EXPECT_TRUE(Finds(run,
                    "ok       the pipe \\\\.\\pipe\\solano_pellmar is there and has a free "
                    "place\n"));
  EXPECT_TRUE(Finds(run, "ok       the pipe belongs to " + process + "\n"));
}

TEST_F(ConsoleDoctorOfARunningGame, DoesNotConnectWhenToldSo) {
  KitProgram running(program, L"");
  running.WaitForLine("game: process ");
  const ConsoleRun run = Run(L"doctor SOLANO-GAME --no-connect");
  EXPECT_EQ(CountOf(run.output, "the pipe belongs to"), 0U) << run.output;
  // The game, which ends when its last launcher leaves, has seen none.
  EXPECT_FALSE(WaitFor(running.Process(), 0));
}

TEST_F(ConsoleDoctorOfARunningGame, FindsThatAnotherProgramOwnsThePipe) {
  KitProgram running(L"demo_game.exe", LR"(--stay --pipe \\.\pipe\solano_pellmar)");
  running.WaitForLine("game: process ");
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"), "note     the pipe belongs to demo_game.exe, "));
}

TEST_F(ConsoleDoctorOfARunningGame, FindsThatThePipeIsFull) {
  KitProgram running(program, L"--stay --instances 1");
  running.WaitForLine("game: process ");
  const ScopedHandle occupant = ConnectWhenOffered(LR"(\\.\pipe\solano_pellmar)");
  running.WaitForLine("game: a launcher has connected");
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"),
                    "problem  the pipe \\\\.\\pipe\\solano_pellmar is there, and every place "));
}

TEST_F(ConsoleDoctorOfARunningGame, FindsThatTheGameHasNoPipe) {
  KitProgram running(program, LR"(--stay --pipe \\.\pipe\other)");
  running.WaitForLine("game: process ");
  EXPECT_TRUE(
      Finds(Run(L"doctor SOLANO-GAME"), "problem  the game runs and has not opened its pipe "));
}

TEST_F(ConsoleDoctor, AnswersInJson) {
  const nlohmann::json json = RunJson(L"doctor SOLANO-GAME", 1);
  EXPECT_EQ(json["problems"], 1);
  EXPECT_EQ(json["findings"][0]["subject"], "launcher.dll");
  EXPECT_EQ(json["findings"][0]["level"], "ok");
}

}  // namespace
}  // namespace test_support
