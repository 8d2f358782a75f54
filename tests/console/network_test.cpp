// ping and query.

#include "tests/console/console_run.h"
#include "tests/support/environment_variable.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

/// The kit's helper answers pings with 1, 2, 3, ... milliseconds.
class ConsolePing : public ConsoleTest {
 protected:
  const EnvironmentVariable installation{L"KOVLAUNCH_INSTDIR", ProgramDirectory()};
  const EnvironmentVariable mode{L"KIT_HELPER_PING_MODE", L"fixed"};
};

TEST_F(ConsolePing, ShowsTimesAndTheirSummary) {
  const ConsoleRun run = Run(L"ping 127.0.0.9 127.0.0.8 127.0.0.7 127.0.0.6");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(run.output,
            "ADDRESS    TIME\n"
            "---------  ----\n"
            "127.0.0.9  1 ms\n"
            "127.0.0.8  2 ms\n"
            "127.0.0.7  3 ms\n"
            "127.0.0.6  4 ms\n"
            "\n"
            "4 of 4 answered; min 1 ms, median 2.5 ms, max 4 ms\n");
}

TEST_F(ConsolePing, SortsOverBatches) {
  std::wstring addresses;
  for (int i = 1; i <= 65; ++i) addresses += L" 127.0.1." + std::to_wstring(i);
  const nlohmann::json json = RunJson(L"ping" + addresses);
  ASSERT_EQ(json["times"].size(), 65U);
  // The first of each batch of 64 took 1 ms.
  EXPECT_EQ(json["times"][0]["milliseconds"], 1);
  EXPECT_EQ(json["times"][1]["milliseconds"], 1);
  EXPECT_EQ(json["times"][2]["milliseconds"], 2);
  EXPECT_EQ(json["median"], 32);
  EXPECT_EQ(json["max"], 64);
}

TEST_F(ConsolePing, TellsWhoDoesNotAnswer) {
  // Nobody is there, and the helper reports 4294967295.
  mode.Set(L"echo");
  const ConsoleRun run = Run(L"ping 127.255.255.255");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(run.output,
            "ADDRESS               TIME\n"
            "---------------  ---------\n"
            "127.255.255.255  no answer\n"
            "\n"
            "0 of 1 answered\n");
}

TEST_F(ConsolePing, ExplainsZero) {
  mode.Set(L"silent");
  const ConsoleRun run = Run(L"ping 127.0.0.1");
  EXPECT_EQ(
      CountOf(run.output, "0 ms: less than one millisecond, or the helper program gave no time\n"),
      1U)
      << run.output;
}

TEST_F(ConsolePing, EndsThoughTheHelperHangs) {
  mode.Set(L"absent");
  const ConsoleRun run = Run(L"ping 127.0.0.1 127.0.0.2 --timeout 1");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, "the helper program has not answered for 2 of 2 addresses"), 1U)
      << run.output;
}

class ConsoleQuery : public ConsoleTest {
 protected:
  // Asks a demo server with these options.
  std::wstring Start(const std::wstring& options) {
    server = std::make_unique<KitProgram>(L"demo_server.exe", options);
    const std::string port = server->WaitForLine("server: listening on 127.0.0.1:");
    return L"query 127.0.0.1:" + Widen(port) + L" 1";
  }

  std::unique_ptr<KitProgram> server;
};

TEST_F(ConsoleQuery, ShowsTheScoreboard) {
  const ConsoleRun run = Run(Start(L"--map \"Old Harbour\" --players 2"));
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(run.output,
            "Mode     Frontier\n"
            "Map      Old Harbour, variant 1\n"
            "Round    12:34, time factor 100\n"
            "Players  4 of 64, 1 waiting\n"
            "  team 1: tickets 340 ticketsMax 400\n"
            "  team 2: tickets 280 ticketsMax 400\n"
            "\n"
            "Team 0, faction 0, 2 players\n"
            "TAG  PLAYER  RANK  SCORE  KILLS  DEATHS  SQUAD\n"
            "---  ------  ----  -----  -----  ------  -----\n"
            "RED  Aldo       5   4200     21       4      1\n"
            "RED  Bryn      12   3850     19       5      1\n"
            "\n"
            "Team 1, faction 1, 2 players\n"
            "TAG  PLAYER  RANK  SCORE  KILLS  DEATHS  SQUAD\n"
            "---  ------  ----  -----  -----  ------  -----\n"
            "BLU  Cass      19   3500     17       6      1\n"
            "BLU  Dara      26   3150     15       7      1\n");
}

TEST_F(ConsoleQuery, ReadsNamesThatAreNoJson) {
  const nlohmann::json json = RunJson(Start(L"--name \"Aldo \\\"the\\Rock\\\"\""));
  EXPECT_EQ(json["status"], "SUCCESS");
  EXPECT_EQ(json["teams"][0]["players"][0]["name"], "Aldo \"the\\Rock\"");
  EXPECT_EQ(json["teams"][0]["players"][0]["playerId"], "1001");
}

TEST_F(ConsoleQuery, TellsWhyThereIsNoAnswer) {
  const ConsoleRun run = Run(Start(L"--silent-at challenge"));
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, "ERROR_SELECT_FAILED_OR_TIMEDOUT"), 1U) << run.output;
}

TEST_F(ConsoleQuery, TellsOfAnAnswerThatIsCut) {
  const ConsoleRun run = Run(Start(L"--cut 40"));
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, "ERROR_MARSHALLING_EXCEPTION"), 1U) << run.output;
}

}  // namespace
}  // namespace test_support
