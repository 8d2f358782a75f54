// list, get, set, unset.

#include "tests/console/console_run.h"
#include "tests/support/game_installation.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

class ConsoleParameters : public ConsoleTest {};

TEST_F(ConsoleParameters, ListShowsAllEight) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", R"({"version": "1.8.2"})");
  game.Directory().MakeDirectory(L"Update\\Xpack1");
  game.Registry().CreateKey(std::wstring(kBrennaKey) + L"\\Xpack1");

  const ConsoleRun run = Run(L"list");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(run.output,
            "APPLICATION           INSTALLED  RUNNING  VERSION  EXPANSIONS\n"
            "--------------------  ---------  -------  -------  ----------\n"
            "BRENNA-CTE-GAME       no         no\n"
            "BRENNA-GAME           yes        no       1.8.2    Xpack1\n"
            "OSTREL-APP            no         no\n"
            "SOLANO-GAME           no         no\n"
            "TAMSIN-BETA2-GAME     no         no\n"
            "TAMSIN-CTE-GAME       no         no\n"
            "TAMSIN-MAINLINE-GAME  no         no\n"
            "TAVR-GAME             no         no\n");
}

TEST_F(ConsoleParameters, ListAsJson) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", R"({"version": "1.8.2"})");
  const nlohmann::json json = RunJson(L"list");
  ASSERT_EQ(json["applications"].size(), 8U);
  EXPECT_EQ(json["applications"][1], nlohmann::json::parse(R"({
      "id": "BRENNA-GAME", "installed": true, "running": false,
      "version": "{\"version\": \"1.8.2\"}", "expansions": ""})"));
}

TEST_F(ConsoleParameters, LongAndHostileCellsAreTamed) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", "\x1B[2J" + std::string(60, 'x'));
  const ConsoleRun run = Run(L"list");
  EXPECT_EQ(CountOf(run.output, "\xEF\xBF\xBD[2J" + std::string(43, 'x') + "\xE2\x80\xA6\n"), 1U)
      << run.output;
}

TEST_F(ConsoleParameters, ColumnsAreRightForWideCharacters) {
  GameInstallation game;
  // Three characters of two columns each, and one with a combining accent.
  game.Directory().WriteFile(L"version.json",
                             "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E"
                             "e\xCC\x81");
  game.Directory().MakeDirectory(L"Update\\Xpack1");
  game.Registry().CreateKey(std::wstring(kBrennaKey) + L"\\Xpack1");
  EXPECT_EQ(CountOf(Run(L"list").output,
                    "BRENNA-GAME           yes        no       "
                    "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E"
                    "e\xCC\x81  Xpack1\n"),
            1U);
}

TEST_F(ConsoleParameters, SetIsRememberedUntilUnset) {
  EXPECT_EQ(Run(L"set BRENNA-GAME \"EXTRA_ARGUMENTS=-a b\"").output,
            "BRENNA-GAME  EXTRA_ARGUMENTS = -a b\n");
  EXPECT_EQ(Run(L"get BRENNA-GAME EXTRA_ARGUMENTS").output, "-a b\n");
  EXPECT_EQ(Run(L"get BRENNA-CTE-GAME EXTRA_ARGUMENTS").output, "\n");
  EXPECT_EQ(Run(L"unset BRENNA-GAME EXTRA_ARGUMENTS").exitCode, 0U);
  EXPECT_EQ(Run(L"get BRENNA-GAME EXTRA_ARGUMENTS").output, "\n");
  EXPECT_EQ(Run(L"unset BRENNA-GAME EXTRA_ARGUMENTS").exitCode, 1U);
}

TEST_F(ConsoleParameters, SetSteersTheLookUp) {
  const std::wstring program = work.WriteFile(L"other.exe", "");
  EXPECT_FALSE(RunJson(L"list")["applications"][1]["installed"]);
  Run(L"set BRENNA-GAME probeMethod=path");
  Run(L"set BRENNA-GAME \"binaryPath=" + program + L"\"");
  EXPECT_TRUE(RunJson(L"list")["applications"][1]["installed"]);
}

TEST_F(ConsoleParameters, GetShowsAllThatTheLauncherKnows) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", "1.8.2");
  const nlohmann::json json = RunJson(L"get BRENNA-GAME");
  EXPECT_EQ(json["id"], "BRENNA-GAME");
  EXPECT_EQ(json["parameters"].size(), 9U);
  EXPECT_EQ(json["parameters"]["APP_VERSION"], "1.8.2");
  EXPECT_EQ(json["parameters"]["PUNKBUSTER_INSTALLED"], "0");
  EXPECT_EQ(json["parameters"]["EXPANSIONS_INSTALLED"], "");
  EXPECT_EQ(json["from"]["APP_VERSION"], "launcher");
}

TEST_F(ConsoleParameters, GetShowsWhatIsRememberedAndWhereItComesFrom) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", "1.8.2");
  Run(L"set brenna EXTRA_ARGUMENTS=-a");
  Run(L"set brenna mine=7");
  EXPECT_EQ(Run(L"get brenna").output,
            "PARAMETER             VALUE  FROM\n"
            "--------------------  -----  --------\n"
            "APP_VERSION           1.8.2  launcher\n"
            "PUNKBUSTER_INSTALLED  0      launcher\n"
            "EXPANSIONS_INSTALLED\n"
            "probeMethod\n"
            "registryKey\n"
            "binaryName\n"
            "workingDirectory\n"
            "binaryPath\n"
            "EXTRA_ARGUMENTS       -a     set\n"
            "mine                  7      set\n"
            "\n"
            "set: remembered in " +
                Narrow(SettingsPath()) + "\n");
}

TEST_F(ConsoleParameters, SetWarnsOfWhatTheLauncherDoesNotRead) {
  EXPECT_EQ(Run(L"set brenna probemethod=path").output,
            "launcher-console: warning: the launcher reads no parameter 'probemethod' of "
            "BRENNA-GAME; did you mean 'probeMethod'?\n"
            "BRENNA-GAME  probemethod = path\n");
  EXPECT_EQ(CountOf(Run(L"set brenna APP_VERSION=7").output, "the launcher writes APP_VERSION "),
            1U);
  EXPECT_EQ(CountOf(Run(L"set ostrel probeMethod=path").output,
                    "reads no parameter 'probeMethod' of OSTREL-APP\n"),
            1U);
  EXPECT_EQ(CountOf(RunJson(L"set brenna mine=7")["warning"].get<std::string>(), "'mine'"), 1U);
  EXPECT_EQ(CountOf(Run(L"unset brenna ProbeMethod").output, "did you mean 'probemethod'?"), 1U);
}

TEST_F(ConsoleParameters, SetListsEverythingThatIsRemembered) {
  const std::string path = "remembered in " + Narrow(SettingsPath()) + "\n";
  EXPECT_EQ(Run(L"set --list").output, path + "nothing\n");
  Run(L"set brenna probeMethod=path");
  Run(L"set solano \"registryKey=SOFTWARE\\Mine\"");
  EXPECT_EQ(Run(L"set --list").output, path +
                                           "APPLICATION  PARAMETER    VALUE\n"
                                           "-----------  -----------  -------------\n"
                                           "BRENNA-GAME  probeMethod  path\n"
                                           "SOLANO-GAME  registryKey  SOFTWARE\\Mine\n");
  EXPECT_EQ(RunJson(L"set --list")["parameters"]["BRENNA-GAME"]["probeMethod"], "path");
}

TEST_F(ConsoleParameters, GetOfTheStoreClientComputes) {
  RegistryFixture registry;
  registry.SetText(LR"(SOFTWARE\Ostrel)", L"ClientVersion", L"9.4.17");
  EXPECT_EQ(RunJson(L"get OSTREL-APP")["parameters"], nlohmann::json::parse(R"({
      "APP_VERSION": "9.4.17", "OstrelLocalHostEnabled": "false"})"));
}

TEST_F(ConsoleParameters, RefusesAFileThatIsNoSettings) {
  work.WriteFile(L"settings.json", R"({"BRENNA-GAME": ["probeMethod"]})");
  const ConsoleRun run = Run(L"list");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, "is no file of settings"), 1U) << run.output;
}

}  // namespace
}  // namespace test_support
