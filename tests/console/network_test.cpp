// ping and query.

#include <regex>

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
  const ConsoleRun some = Run(L"ping 127.255.255.255 127.0.0.1");
  EXPECT_EQ(some.exitCode, 1U);
  EXPECT_EQ(CountOf(some.output, "1 of 2 answered; "), 1U) << some.output;
}

// All times are 0 then, which are no answers.
TEST_F(ConsolePing, AHelperThatDoesNotWriteGivesNoAnswers) {
  mode.Set(L"silent");
  const ConsoleRun run = Run(L"ping 127.0.0.1");
  EXPECT_EQ(run.exitCode, 3U);
  EXPECT_EQ(CountOf(run.output, "127.0.0.1  no answer\n"), 1U) << run.output;
  EXPECT_EQ(CountOf(run.output, "0 of 1 answered\n"), 1U) << run.output;
  EXPECT_EQ(CountOf(run.output, "the helper program gave no times: "), 1U) << run.output;
}

TEST_F(ConsolePing, AHelperThatIsMissingGivesNoAnswers) {
  installation.Set(work.Path());
  const ConsoleRun run = Run(L"ping 127.0.0.1");
  EXPECT_EQ(run.exitCode, 3U);
  EXPECT_EQ(CountOf(run.output, "0 of 1 answered\n"), 1U) << run.output;
  EXPECT_EQ(RunJson(L"ping 127.0.0.1", 3)["error"]["exitCode"], 3);
}

TEST_F(ConsolePing, CountsRounds) {
  const ConsoleRun run = Run(L"ping 127.0.0.1 127.0.0.2 --count 3 --interval 0");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(run.output,
            "ADDRESS    SENT  ANSWERED  LAST   MIN  MEDIAN   MAX\n"
            "---------  ----  --------  ----  ----  ------  ----\n"
            "127.0.0.1     3         3  1 ms  1 ms    1 ms  1 ms\n"
            "127.0.0.2     3         3  2 ms  2 ms    2 ms  2 ms\n"
            "\n"
            "6 of 6 answered; min 1 ms, median 1.5 ms, max 2 ms\n");
  const nlohmann::json json = RunJson(L"ping 127.0.0.1 --count 2 --interval 0");
  EXPECT_EQ(json["times"][0]["rounds"], nlohmann::json::parse("[1, 1]"));
  EXPECT_EQ(json["sent"], 2);
}

TEST_F(ConsolePing, ReadsAddressesFromAFile) {
  const std::wstring file =
      work.WriteFile(L"servers.txt", "127.0.0.9 # the first\n\n127.0.0.10\r\n");
  const nlohmann::json json = RunJson(L"ping 127.0.0.11 --file \"" + file + L"\"");
  ASSERT_EQ(json["times"].size(), 3U);
  EXPECT_EQ(json["times"][2]["address"], "127.0.0.10");
}

TEST_F(ConsolePing, SortsAndFilters) {
  const nlohmann::json byAddress = RunJson(L"ping 127.0.0.10 127.0.0.9 --sort address");
  EXPECT_EQ(byAddress["times"][0]["address"], "127.0.0.9");
  const nlohmann::json given = RunJson(L"ping 127.0.0.10 127.0.0.9 --sort given");
  EXPECT_EQ(given["times"][0]["address"], "127.0.0.10");
  EXPECT_EQ(RunJson(L"ping 127.0.0.1 127.0.0.2 --below 1")["times"].size(), 1U);
}

TEST_F(ConsolePing, WatchShowsEveryRound) {
  const ConsoleRun run = Run(L"ping 127.0.0.1 --watch --count 2 --interval 0");
  EXPECT_EQ(CountOf(run.output, "1 of 1 answered"), 1U) << run.output;
  EXPECT_EQ(CountOf(run.output, "2 of 2 answered"), 1U) << run.output;
}

TEST_F(ConsolePing, EndsThoughTheHelperHangs) {
  mode.Set(L"absent");
  const ConsoleRun run = Run(L"ping 127.0.0.1 127.0.0.2 --timeout 1");
  EXPECT_EQ(run.exitCode, 3U);
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
  ConsoleRun run = Run(Start(L"--map \"Old Harbour\" --players 2"));
  EXPECT_EQ(run.exitCode, 0U);
  // How long it took.
  run.output = std::regex_replace(run.output, std::regex("Answer   [0-9]+ ms"), "Answer   N ms");
  EXPECT_EQ(run.output,
            "Mode     Frontier\n"
            "Map      Old Harbour, variant 1\n"
            "Round    12:34, time factor 100\n"
            "Players  4 of 64, 1 waiting\n"
            "Answer   N ms\n"
            "  team 1: tickets 340 ticketsMax 400\n"
            "  team 2: tickets 280 ticketsMax 400\n"
            "\n"
            "Team 1, faction 0, 2 players\n"
            "TAG  PLAYER  RANK  SCORE  KILLS  DEATHS  SQUAD\n"
            "---  ------  ----  -----  -----  ------  -----\n"
            "RED  Aldo       5   4200     21       4      1\n"
            "RED  Bryn      12   3850     19       5      1\n"
            "\n"
            "Team 2, faction 1, 2 players\n"
            "TAG  PLAYER  RANK  SCORE  KILLS  DEATHS  SQUAD\n"
            "---  ------  ----  -----  -----  ------  -----\n"
            "BLU  Cass      19   3500     17       6      1\n"
            "BLU  Dara      26   3150     15       7      1\n");
}

TEST_F(ConsoleQuery, ReadsNamesThatAreNoJson) {
  const nlohmann::json json = RunJson(Start(L"--name \"Aldo \\\"the\\Rock\\\"\""));
  EXPECT_EQ(json["servers"][0]["status"], "SUCCESS");
  const nlohmann::json player = json["servers"][0]["state"]["teams"][0]["players"][0];
  EXPECT_EQ(player["name"], "Aldo \"the\\Rock\"");
  EXPECT_EQ(player["playerId"], "1001");
}

TEST_F(ConsoleQuery, CountsOnePlayer) {
  EXPECT_EQ(CountOf(Run(Start(L"--players 1")).output, "Team 1, faction 0, 1 player\n"), 1U);
}

TEST_F(ConsoleQuery, AsksSeveralServers) {
  const std::wstring first = Start(L"--map Harbour --players 2");
  KitProgram secondServer(L"demo_server.exe", L"--map Bridge --players 0");
  const std::wstring second =
      L"127.0.0.1:" + Widen(secondServer.WaitForLine("server: listening on 127.0.0.1:"));
  const std::wstring both = first + L" " + second + L" 1";
  nlohmann::json servers = RunJson(both + L" --sort map")["servers"];
  ASSERT_EQ(servers.size(), 2U);
  EXPECT_EQ(servers[0]["state"]["currentMap"], "Bridge");
  servers = RunJson(both + L" --not-empty")["servers"];
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(servers[0]["state"]["currentMap"], "Harbour");
  servers = RunJson(both + L" --map bRID")["servers"];
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(servers[0]["state"]["currentMap"], "Bridge");
  const ConsoleRun run = Run(both + L" --sort players --count 2 --interval 0");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(CountOf(run.output, "Harbour     4/64"), 2U) << run.output;
  EXPECT_EQ(CountOf(run.output, "4 of 4 questions answered\n"), 1U) << run.output;
}

TEST_F(ConsoleQuery, TellsWhichServerDoesNotAnswer) {
  const std::wstring first = Start(L"--players 2");
  KitProgram silent(L"demo_server.exe", L"--silent-at challenge");
  const std::wstring second =
      L"127.0.0.1:" + Widen(silent.WaitForLine("server: listening on 127.0.0.1:"));
  const ConsoleRun run = Run(first + L" " + second + L" 1");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, Narrow(second) + ": no answer within a second: "), 1U)
      << run.output;
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
