// doctor: why a game is not found, does not start, does not answer.

#include <memory>

#include "tests/console/console_run.h"
#include "tests/support/environment_variable.h"
#include "tests/support/game_installation.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

// With its terminator.
std::vector<unsigned char> RegistryBytes(const std::wstring& text) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
}

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
  EXPECT_TRUE(
      Finds(Run(L"doctor"),
            R"(problem  the installation folder in HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node\Vantor)"
            " Web Plugins is longer than 129 "));
}

TEST_F(ConsoleDoctor, FindsThatTheHelperGivesNoTimes) {
  mode.Set(L"silent");
  EXPECT_TRUE(Finds(Run(L"doctor"), "problem  it was asked for a ping batch and gave no times"));
}

TEST_F(ConsoleDoctor, FindsThatTheHelperHangs) {
  mode.Set(L"absent");
  EXPECT_TRUE(
      Finds(Run(L"doctor --timeout 1"), "problem  it has not answered a ping batch for 1 s: "));
}

TEST_F(ConsoleDoctor, AMissingGameIsAProblemOnlyWhenAskedFor) {
  const std::string text =
      R"(there is no registry key HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node\Hollin Games\)"
      "Ashgrove 3\n";
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
  EXPECT_TRUE(Finds(Run(L"doctor SOLANO-GAME"),
                    R"(problem  HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node\Hollin Games\Ashgrove 3)"
                    " has no text value \"Install Dir\"\n"));
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

TEST_F(ConsoleDoctor, FindsAFolderThatNobodyExpands) {
  RegistryFixture registry;
  registry.SetBytes(kSolanoKey, L"Install Dir", REG_EXPAND_SZ,
                    RegistryBytes(L"%ProgramFiles%\\Ashgrove 3"));
  ConsoleRun run = Run(L"doctor SOLANO-GAME");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output,
                    "is of type REG_EXPAND_SZ, which the launcher does not expand: "
                    "%ProgramFiles%\\Ashgrove 3\n"),
            1U)
      << run.output;
  EXPECT_EQ(CountOf(run.output, "\n1 problem\n"), 1U) << run.output;

  installation.Set(std::nullopt);
  registry.SetBytes(LR"(SOFTWARE\Vantor Web Plugins)", nullptr, REG_EXPAND_SZ,
                    RegistryBytes(L"%SystemRoot%\\x"));
  run = Run(L"doctor");
  EXPECT_EQ(CountOf(run.output, "does not expand: %SystemRoot%\\x\n"), 1U) << run.output;
}

TEST_F(ConsoleDoctor, FindsTheHelpersKeyInTheWrongView) {
  constexpr wchar_t kKey[] = LR"(SOFTWARE\Vantor Web Plugins)";
  installation.Set(std::nullopt);
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                            nullptr, &key, nullptr),
            ERROR_SUCCESS);
  constexpr wchar_t kFolder[] = L"C:\\x";
  RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(kFolder), sizeof(kFolder));
  RegCloseKey(key);
  const ConsoleRun run = Run(L"doctor");
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY, 0);
  EXPECT_TRUE(Finds(run, "problem  the installation folder is in the registry's 64-bit view only"));
}

TEST_F(ConsoleDoctor, SaysWhatWasRemembered) {
  Run(L"set SOLANO-GAME registryKey=SOFTWARE\\Mine");
  const ConsoleRun run = Run(L"doctor SOLANO-GAME");
  EXPECT_TRUE(Finds(
      run, "note     registryKey is 'SOFTWARE\\Mine', remembered in " + Narrow(SettingsPath())));
  EXPECT_EQ(CountOf(run.output, "launcher-console unset SOLANO-GAME registryKey\n"), 1U)
      << run.output;
}

// Without a DLL the helper and the registry are looked at all the same.
TEST_F(ConsoleDoctor, GoesOnWithoutALauncher) {
  struct Case {
    std::wstring path;
    std::string finding;
  };
  std::string image(512, '\0');  // the headers of a 32-bit DLL
  image.replace(0, 2, "MZ");
  image[60] = 64;
  image.replace(64, 4, std::string("PE\0\0", 4));
  image.replace(68, 2, "\x4C\x01");
  for (const Case& one :
       {Case{work.Join(L"none.dll"), "there is no "},
        {work.WriteFile(L"text.dll", "x"), " is no DLL"},
        {work.WriteFile(L"32.dll", image), " is a 32-bit DLL"},
        {L"C:\\windows\\system32\\kernel32.dll", "is no launcher: it does not export"}}) {
    const GameInstallation game(kSolanoKey, L"ag3.exe");
    KitProgram program(L"launcher-console.exe", L"--dll \"" + one.path + L"\" --settings \"" +
                                                    SettingsPath() + L"\" doctor SOLANO-GAME");
    EXPECT_EQ(program.ExitCode(), 3U);
    const ConsoleRun run{3, program.Output()};
    EXPECT_EQ(CountOf(run.output, one.finding), 1U) << run.output;
    EXPECT_EQ(CountOf(run.output, "helperx64.exe is there\n"), 1U) << run.output;
    EXPECT_TRUE(Finds(run, "ok       the program is "));
  }
}

TEST_F(ConsoleDoctor, EveryFindingSaysWhatToDo) {
  installation.Set(work.Path());
  Run(L"set tavr probeMethod=Path");
  const nlohmann::json json = RunJson(L"doctor", 1);
  for (const nlohmann::json& finding : json["findings"]) {
    EXPECT_EQ(finding["advice"] == "", finding["level"] == "ok") << finding;
  }
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
                    "ok       \"ClientVersion\" in "
                    "HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Ostrel is 9.4.17\n"));
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
