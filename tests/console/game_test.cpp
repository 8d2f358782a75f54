// launch, kill, send, watch: with a demo game in place of a real one.

#include <memory>

#include "tests/console/console_run.h"
#include "tests/support/environment_variable.h"
#include "tests/support/game_installation.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

/// The demo game is installed as SOLANO-GAME, whose pipe no other application shares.
class ConsoleGame : public ConsoleTest {
 protected:
  ConsoleGame() {
    program = game.Directory().CopyFile(ProgramDirectory() + L"\\demo_game.exe",
                                        std::wstring(kSolanoName));
  }

  // Runs the game itself.
  std::unique_ptr<KitProgram> Play(const std::wstring& options) const {
    auto running = std::make_unique<KitProgram>(program, options);
    running->WaitForLine("game: process ");
    return running;
  }

  const EnvironmentVariable installation{L"KOVLAUNCH_INSTDIR", ProgramDirectory()};
  const GameInstallation game{kSolanoKey, L"placeholder.exe"};
  std::wstring program;
};

TEST_F(ConsoleGame, LaunchWaitsForThePipe) {
  const std::wstring log = work.Join(L"game.log");
  const EnvironmentVariable options(L"KIT_GAME_OPTIONS", L"--log \"" + log + L"\"");
  const ConsoleRun run = Run(L"launch SOLANO-GAME --args \"-server \\\"one two\\\"\" --wait");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(run.output, "SOLANO-GAME is running and has opened its pipe\n");
  // With the console the only launcher has left, and the game has ended.
  EXPECT_EQ(CountOf(ReadFileBytes(log), "-server \"one two\"\n"), 1U) << ReadFileBytes(log);
}

TEST_F(ConsoleGame, LaunchTakesArgumentsThatBeginWithADash) {
  int number = 0;
  for (const wchar_t* const argument : {L"--args -x", L"--args=-x", L"--args \"-x\""}) {
    // The game of the last round may still write its log.
    const std::wstring log = work.Join(L"game" + std::to_wstring(++number) + L".log");
    const EnvironmentVariable options(L"KIT_GAME_OPTIONS", L"--log \"" + log + L"\"");
    const ConsoleRun run = Run(std::wstring(L"launch solano --wait --timeout 60 ") + argument);
    EXPECT_EQ(run.exitCode, 0U) << run.output;
    EXPECT_EQ(CountOf(ReadFileBytes(log), " -x\n"), 1U) << ReadFileBytes(log);
  }
}

TEST_F(ConsoleGame, LaunchReturnsAtOnce) {
  const EnvironmentVariable options(L"KIT_GAME_OPTIONS", L"--wait 1");
  EXPECT_EQ(RunJson(L"launch SOLANO-GAME"),
            nlohmann::json::parse(R"({"id": "SOLANO-GAME", "state": "PENDING"})"));
}

TEST_F(ConsoleGame, LaunchTellsThatTheGameIsMissing) {
  const ConsoleRun run = Run(L"launch TAVR-GAME");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(run.output,
            "launcher-console: TAVR-GAME is not installed; 'doctor TAVR-GAME' says why\n");
}

TEST_F(ConsoleGame, SendListensToTheAnswer) {
  const auto running = Play(L"");
  const nlohmann::json json =
      RunJson(L"send SOLANO-GAME echo one two three four --timeout 60 --for 0.1");
  EXPECT_TRUE(json["sent"]);
  EXPECT_EQ(running->WaitForLine("game: received "), "echo [one two three four]");
}

TEST_F(ConsoleGame, SendTakesWordsAsTheyAre) {
  const auto running = Play(L"");
  EXPECT_TRUE(RunJson(L"send SOLANO-GAME echo [a,b] list /c --timeout 60")["sent"]);
  EXPECT_EQ(running->WaitForLine("game: received "), "echo [[a,b] list /c]");
}

TEST_F(ConsoleGame, SendTakesDashesBehindTwo) {
  const auto running = Play(L"");
  EXPECT_TRUE(RunJson(L"send --timeout 60 SOLANO-GAME echo -- -1 --for one")["sent"]);
  EXPECT_EQ(running->WaitForLine("game: received "), "echo [-1 --for one]");
}

TEST_F(ConsoleGame, SendShowsThatTheGameIsGone) {
  const auto running = Play(L"");
  const ConsoleRun run = Run(L"send SOLANO-GAME quit --timeout 60 --for 60");
  EXPECT_EQ(run.output,
            "sent quit to SOLANO-GAME\n"
            "SOLANO-GAME  StateChanged  GAMEISGONE\n");
  EXPECT_EQ(running->ExitCode(), 0U);
}

TEST_F(ConsoleGame, SendTellsThatNobodyIsThere) {
  const ConsoleRun run = Run(L"send SOLANO-GAME hello --timeout 0.1");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(run.output,
            "launcher-console: the pipe of SOLANO-GAME could not be connected: is the game "
            "running?\n");
}

TEST_F(ConsoleGame, SendTellsWhoHasThePlaceAtASharedPipe) {
  const KitProgram running(L"demo_game.exe",
                           LR"(--pipe \\.\pipe\brenna_pellmar --instances 1 --stay)");
  const ConsoleRun run = Run(L"send BRENNA-GAME hello --timeout 2");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, "went to BRENNA-CTE-GAME"), 1U) << run.output;
}

TEST_F(ConsoleGame, WatchShowsEventsAsTheyCome) {
  const auto running = Play(L"--send \"PlayerJoined Aldo squad 3\"");
  const ConsoleRun run = Run(L"--json watch SOLANO-GAME --count 2");
  EXPECT_EQ(run.exitCode, 0U);
  const std::vector<std::string> lines = Lines(run.output);
  ASSERT_EQ(lines.size(), 2U) << run.output;
  nlohmann::json first = nlohmann::json::parse(lines[0])["result"];
  const std::string time = first["time"];
  EXPECT_EQ(time.size(), std::string("2026-03-01T12:34:56.789+01:00").size()) << time;
  EXPECT_TRUE(time[23] == '+' || time[23] == '-') << time;
  first.erase("time");
  EXPECT_EQ(first, nlohmann::json::parse(R"({"source": "SOLANO-GAME", "name": "StateChanged",
                                             "arguments": ["READY"]})"));
  nlohmann::json second = nlohmann::json::parse(lines[1])["result"];
  second.erase("time");
  EXPECT_EQ(second, nlohmann::json::parse(R"({"source": "SOLANO-GAME", "name": "PlayerJoined",
                                              "arguments": ["Aldo", "squad", "3"]})"));
}

TEST_F(ConsoleGame, WatchTellsHowManyEventsHaveCome) {
  const ConsoleRun run = Run(L"watch --for 0.1 --count 1");
  EXPECT_EQ(run.exitCode, 1U);
  EXPECT_EQ(CountOf(run.output, "0 of 1 events have come"), 1U) << run.output;
}

TEST_F(ConsoleGame, WatchForNoTimeEndsAtOnce) {
  const ConsoleRun run = Run(L"watch --for 0");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(run.output, "watching; Ctrl+C ends it\n");
}

TEST_F(ConsoleGame, TheStoreClientIsRefusedAtOnce) {
  for (const wchar_t* const arguments :
       {L"kill ostrel", L"send ostrel hello", L"launch ostrel --wait"}) {
    const ConsoleRun run = Run(arguments);
    EXPECT_EQ(run.exitCode, 2U) << run.output;
    EXPECT_EQ(CountOf(run.output, "OSTREL-APP is the store client, which "), 1U) << run.output;
  }
}

TEST_F(ConsoleGame, TextsOfAGameCannotTakeTheTerminal) {
  // U+009B begins a sequence as ESC [ does; U+202E turns the text around.
  const auto running = Play(
      L"--send \"Say a\x009B"
      L"2Jb\x202E"
      L"c\"");
  EXPECT_EQ(CountOf(Run(L"watch SOLANO-GAME --count 2").output,
                    "Say  a\xEF\xBF\xBD"
                    "2Jb\xEF\xBF\xBD"
                    "c\n"),
            1U);
}

TEST_F(ConsoleGame, KillEndsTheGame) {
  const auto running = Play(L"");
  EXPECT_EQ(Run(L"kill SOLANO-GAME").output, "ended one process of SOLANO-GAME\n");
  EXPECT_EQ(running->ExitCode(), 0xFFFF8597U);
  EXPECT_EQ(Run(L"kill SOLANO-GAME").exitCode, 1U);
}

}  // namespace
}  // namespace test_support
