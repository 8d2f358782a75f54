// A host that shows all of launcher.dll at work: it "installs" a game, lists what is installed,
// launches the game, exchanges commands with it, ends it, opens a link of the store client, times
// addresses and asks a game server for its state. Everything around the DLL (helper, game, server)
// comes from the kit. `Play` has the steps in the order in which they happen.

// The order matters.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/demo/child_program.h"
#include "examples/demo/console.h"
#include "examples/demo/host.h"
#include "examples/demo/json_reader.h"
#include "examples/demo/stage.h"

namespace {

using demo::Event;
using demo::Host;
using demo::Print;

constexpr char kHelp[] =
    R"(demo_host - launcher.dll at work, step by step

  demo_host --dll FILE --kit DIRECTORY --work DIRECTORY

  --dll    the DLL to show
  --kit    the directory with helperx64.exe, demo_game.exe and demo_server.exe
  --work   a directory for the demo game and the launcher's log; made when missing

The demonstration registers a game and a store client under HKEY_LOCAL_MACHINE, which
takes an administrator on Windows, and removes them in the end. It stops when they are
installed for real.

Exit code: 0 all steps happened, 1 to 10 the number of the step that did not happen,
100 wrong options.
)";

constexpr int kWrongUsage = 100;
constexpr const wchar_t* kGame = launcher_host::app::kBrenna;
constexpr char kGameUtf8[] = "BRENNA-GAME";
constexpr const wchar_t* kStoreClient = launcher_host::app::kOstrel;

struct Arguments {
  std::filesystem::path dll;
  std::filesystem::path kit;
  std::filesystem::path work;
};

/// Nothing when the three options are not there.
std::optional<Arguments> ReadArguments() {
  Arguments arguments;
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 1; i + 1 < count; i += 2) {
    const std::wstring name = words[i];
    const auto path = std::filesystem::absolute(words[i + 1]).make_preferred();
    if (name == L"--dll") arguments.dll = path;
    if (name == L"--kit") arguments.kit = path;
    if (name == L"--work") arguments.work = path;
  }
  LocalFree(words);
  const bool isComplete =
      count == 7 && !arguments.dll.empty() && !arguments.kit.empty() && !arguments.work.empty();
  return isComplete ? std::optional(arguments) : std::nullopt;
}

/// Counts and announces the steps, so that a failure can name its own.
class Steps {
 public:
  void Begin(const std::string& what) {
    name = what;
    ++number;
    Print();
    Print("Step " + std::to_string(number) + ": " + name);
  }

  int number = 0;
  std::string name;
};

void Require(bool condition, const char* failure) {
  if (!condition) throw std::runtime_error(failure);
}

/// The names of events that helper programs set for this process are its own.
std::wstring OwnEventName(const wchar_t* purpose) {
  return L"demo_host_" + std::to_wstring(GetCurrentProcessId()) + L"_" + purpose;
}

std::function<bool(const Event&)> StateChange(const std::string& state) {
  return [state](const Event& event) {
    return event.source == kGameUtf8 && event.name == "StateChanged" && event.arguments[0] == state;
  };
}

std::function<bool(const Event&)> Named(const std::string& name) {
  return [name](const Event& event) {
    return (event.source.empty() || event.source == kGameUtf8) && event.name == name;
  };
}

void ListApplications(Host& host) {
  std::vector<std::vector<std::string>> rows{{"application", "installed", "version", "expansions"}};
  for (const wchar_t* const appId : launcher_host::app::kAll) {
    rows.push_back(
        {demo::ToUtf8(appId), host->IsInstalled(appId) ? "yes" : "no",
         host.Take(host->GetVersion(appId)),
         host.Take(host->GetParameter(appId, launcher_host::parameter::kExpansionsInstalled))});
  }
  demo::PrintTable(rows);
  Require(host->IsInstalled(kGame), "the launcher does not find BRENNA-GAME");
  Require(host->IsInstalled(kStoreClient), "the launcher does not find OSTREL-APP");
}

/// Ends the game when a step in between has failed.
class GameEnder {
 public:
  explicit GameEnder(Host& gameHost) : host(gameHost) {}
  ~GameEnder() {
    if (host->IsRunning(kGame)) host->Kill(kGame, false);
  }
  GameEnder(const GameEnder&) = delete;
  GameEnder& operator=(const GameEnder&) = delete;

 private:
  Host& host;
};

void LaunchGame(Host& host, const std::filesystem::path& gameLog, HANDLE helperDone) {
  const std::wstring commandLine =
      L"--wait 60 --log \"" + gameLog.native() + L"\" --send \"PlayerJoined Aldo squad 3\"";
  Print("  Launch(\"BRENNA-GAME\", ...) asks the helper to start ag4.exe with the command line");
  Print("    " + demo::ToUtf8(commandLine));
  Require(host->Launch(kGame, commandLine.c_str(), true, L"", L"", L"", L""),
          "Launch returned false");
  host.WaitForEvent("\"PENDING\"", StateChange("PENDING"));
  Print("  PENDING: the helper was asked. Whether the game comes up is not known yet.");
  Require(WaitForSingleObject(helperDone, Host::kPatienceMilliseconds) == WAIT_OBJECT_0,
          "the helper did not end its work");
}

void ExchangeCommands(Host& host) {
  host.WaitForEvent("the command that the game sends", Named("PlayerJoined"));
  Print("  That came from the game: every command of a game arrives as an event of its name.");
  Print("  SendCommand(\"BRENNA-GAME\", \"echo\", \"how\", \"are\", \"you\", \"\")");
  Require(host->SendCommand(kGame, L"echo", L"how", L"are", L"you", L""),
          "SendCommand returned false");
  const Event answer = host.WaitForEvent("the game's answer", Named("echo"));
  Require(
      answer.arguments[0] == "how" && answer.arguments[1] == "are" && answer.arguments[2] == "you",
      "the game's answer has other words");
  Print("  The game has received the command and sent it back.");
}

void KillGame(Host& host, const std::filesystem::path& gameLog) {
  Require(host->IsRunning(kGame), "the game is not running any more");
  Require(host->Kill(kGame, false), "Kill returned false");
  host.WaitForEvent("\"GAMEISGONE\"", StateChange("GAMEISGONE"));
  host.WaitUntil("the game's process has ended", [&host] { return !host->IsRunning(kGame); });
  Print("  The pipe broke and no process ag4.exe is left. What the game had written down:");
  for (const std::string& line : demo::ReadLines(gameLog)) Print("    [" + line + "]");
}

void OpenStoreLink(Host& host, const std::filesystem::path& helperRecord, HANDLE helperDone) {
  Print("  Launch(\"OSTREL-APP\", \"library/ashgrove4\", ...)");
  Require(host->Launch(kStoreClient, L"library/ashgrove4", false, L"", L"", L"", L""),
          "Launch returned false");
  Require(WaitForSingleObject(helperDone, Host::kPatienceMilliseconds) == WAIT_OBJECT_0,
          "the helper was not started");
  const std::vector<std::string> lines = demo::ReadLines(helperRecord);
  Require(!lines.empty() && lines.back() == "NO|SW_SHOWNA|ostrel://library/ashgrove4|||",
          "the helper did not get the link");
  Print("  The helper was started with this line; a real one opens the link, the kit's does not:");
  Print("    " + lines.back());
}

void PingServers(Host& host) {
  const std::vector<const wchar_t*> addresses{L"127.0.0.1", L"127.0.0.2", L"127.7.7.7",
                                              L"not.an.address"};
  Print(
      "  PingBatch(\"batch-1\", ...): the launcher's worker waits for the helper's echo requests.");
  Require(host->PingBatch(L"batch-1", addresses.data(), addresses.size()),
          "PingBatch returned false");
  const Event event = host.WaitForEvent("\"PingBatchResult\"", Named("PingBatchResult"));
  demo::JsonReader reader;
  std::vector<launcher_host::PingTime> times;
  Require(launcher_host::ReadPingResult(event.arguments[1], reader, times),
          "the result cannot be read");
  Require(event.arguments[0] == "batch-1" && times.size() == addresses.size(),
          "the result belongs to another batch");
  constexpr std::uint32_t kNoAnswer = launcher_host::kNoAnswerMsec;  // by the kit's helper
  std::vector<std::vector<std::string>> rows{{"address", "round trip"}};
  for (const launcher_host::PingTime& time : times) {
    rows.push_back({time.address, time.milliseconds == kNoAnswer
                                      ? "no answer"
                                      : std::to_string(time.milliseconds) + " ms"});
  }
  demo::PrintTable(rows);
  if (times.front().milliseconds == kNoAnswer) {
    Print("  (Not even this computer answers: it does not let this user send echo requests.)");
  }
}

void QueryGameServer(Host& host, const std::filesystem::path& serverProgram) {
  demo::ChildProgram server(serverProgram,
                            L"--count 1 --wait 60 --map \"Old Harbour\""
                            L" --name \"Aldo \\\"the Rock\\\"\"");
  const std::string beginning = "server: listening on 127.0.0.1:";
  const std::string port = server.WaitForLine(beginning).substr(beginning.size());
  Print("  QueryServer(\"query-1\", \"first server\", \"4711\", \"127.0.0.1\", " + port + ")");
  host->QueryServer(L"query-1", L"first server", L"4711", L"127.0.0.1",
                    static_cast<unsigned int>(std::stoul(port)));
  const Event event = host.WaitForEvent("\"QueryServerResult\"", [](const Event& candidate) {
    return candidate.name == "QueryServerResult" && candidate.source == "query-1";
  });
  demo::JsonReader reader;
  launcher_host::ServerState state;
  Require(launcher_host::ReadQueryResult(event.arguments[1], reader, state),
          "the result cannot be read");
  Print("  status " + state.status);
  Require(state.status == "SUCCESS", "the server could not be queried");
  std::vector<std::vector<std::string>> rows{
      {"team", "tag", "player", "rank", "score", "kills", "deaths"}};
  for (std::size_t i = 0; i < state.teams.size(); ++i) {
    for (const launcher_host::Player& player : state.teams[i].players) {
      // From 1, as the scores count them.
      rows.push_back({std::to_string(i + 1), player.tag, player.name, std::to_string(player.rank),
                      std::to_string(player.score), std::to_string(player.kills),
                      std::to_string(player.deaths)});
    }
  }
  Print("  mode " + state.gameMode + ", map " + state.currentMap + ", round time " +
        state.roundTime + " s, " + std::to_string(rows.size() - 1) + " of " +
        std::to_string(state.maxPlayers) + " players, " + std::to_string(state.waitingPlayers) +
        " waiting, " + std::to_string(state.teams.size()) + " teams");
  for (const launcher_host::ModeRow& row : state.modeRows) {
    std::string counts;
    for (const auto& [name, value] : row.values) {
      counts += (counts.empty() ? "" : ", ") + name + " " + std::to_string(value);
    }
    Print("  score of team " + row.name + ": " + counts);
  }
  demo::PrintTable(rows);
}

void Introduce() {
  Print(
      "launcher.dll lets a host (here: this program; else a browser plug-in) work with the games "
      "on");
  Print(
      "this computer. It finds them in the registry, starts them through a helper program, talks "
      "to");
  Print(
      "them over a named pipe and reports to the host by events. The helper, the "
      "game");
  Print("and the game server in this demonstration are stand-ins from the kit; the rest is real.");
  Print("Lines in [brackets] come from the stand-ins.");
}

void Play(const Arguments& arguments, Steps& steps) {
  steps.Begin("install a game and a store client, as far as a launcher can see");
  demo::Stage stage(arguments.work);
  const std::filesystem::path launcherLog = arguments.work / L"launcher.log";
  const std::filesystem::path helperRecord = stage.TemporaryFile(L"helper_record.txt");
  const std::filesystem::path gameLog = stage.TemporaryFile(L"game_log.txt");
  stage.InstallGame(arguments.kit / L"demo_game.exe");
  stage.InstallStoreClient(L"9.4.17");
  Print("  game:     " + demo::ToUtf8(stage.gameDirectory().native()) +
        ", its folder Update holds Xpack1, Xpack2 and Xpack3;");
  Print("            registered below HKLM\\SOFTWARE\\Hollin Games (32-bit view), Xpack3 is not");
  Print("  client:   HKLM\\SOFTWARE\\Ostrel, ClientVersion 9.4.17");

  steps.Begin("load launcher.dll");
  demo::SendStandardStreamsTo(launcherLog.native());
  // The launcher looks for helperx64.exe there. The other two make the kit's helper write its
  // line of parameters down and to say when it is done.
  SetEnvironmentVariableW(L"KOVLAUNCH_INSTDIR", arguments.kit.c_str());
  SetEnvironmentVariableW(L"KIT_HELPER_RECORD", helperRecord.c_str());
  SetEnvironmentVariableW(L"KIT_HELPER_DONE_EVENT", OwnEventName(L"helper_done").c_str());
  const HANDLE helperDone =
      CreateEventW(nullptr, FALSE, FALSE, OwnEventName(L"helper_done").c_str());
  Host host(arguments.dll.native());
  Print("  " + demo::ToUtf8(arguments.dll.native()) + ", version " + host.version() +
        ", ABI version " + std::to_string(launcher_host::kAbiVersion));
  Print("  helper:   " + demo::ToUtf8((arguments.kit / L"helperx64.exe").native()));
  Print("  its log:  " + demo::ToUtf8(launcherLog.native()));

  steps.Begin("list the applications that the launcher knows");
  ListApplications(host);

  steps.Begin("launch the game");
  Require(!host->IsRunning(kGame), "a program called ag4.exe is already running");
  const GameEnder gameEnder(host);
  LaunchGame(host, gameLog, helperDone);

  steps.Begin("poll until the game offers its command pipe");
  host.WaitForEvent("\"READY\"", StateChange("READY"));
  Print("  READY: the launcher has connected to the game's pipe. (BRENNA-CTE-GAME is the test");
  Print("  edition of the same game and listens on the same pipe name, so it speaks up as well.)");

  steps.Begin("exchange commands with the game");
  ExchangeCommands(host);

  steps.Begin("kill the game");
  KillGame(host, gameLog);

  steps.Begin("open a link of the store client");
  OpenStoreLink(host, helperRecord, helperDone);

  steps.Begin("measure the round-trip times to a list of addresses");
  PingServers(host);

  steps.Begin("ask a game server for its state");
  QueryGameServer(host, arguments.kit / L"demo_server.exe");
  CloseHandle(helperDone);
}

}  // namespace

int main() {
  if (std::wstring(GetCommandLineW()).ends_with(L" --help")) {
    std::fputs(kHelp, stdout);
    return 0;
  }
  const std::optional<Arguments> arguments = ReadArguments();
  if (!arguments) {
    std::fprintf(stderr, "demo_host: it takes exactly these three options\n\n%s", kHelp);
    return kWrongUsage;
  }
  Introduce();
  Steps steps;
  try {
    Play(*arguments, steps);
  } catch (const std::exception& error) {
    Print();
    Print("FAILED: step " + std::to_string(steps.number) + " (" + steps.name +
          ") did not happen: " + error.what());
    return steps.number;
  }
  Print();
  Print("All " + std::to_string(steps.number) +
        " steps happened. The game, its registry keys and its "
        "files are removed again.");
  return 0;
}
