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
