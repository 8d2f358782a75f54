#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "hosts/common/checks.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/options.h"

namespace console {
namespace {

struct QueryArguments {
  std::vector<std::string> words;
  RoundOptions rounds;
  std::string sort = "given";
  std::string map;
  std::string mode;
  bool notEmpty = false;
  bool notFull = false;
  bool isDetailed = false;
};

// Each query has a thread of its own while it runs.
constexpr std::size_t kMostAtOnce = 64;
constexpr std::size_t kMaxServers = 4096;

struct AskedServer {
  std::string server;  // as it was given
  std::string address;
  std::uint16_t port = 0;
  std::string gameId;
  // Of the last round:
  bool isAnswered = false;
  ULONGLONG asked = 0;
  ULONGLONG milliseconds = 0;  // until the answer was there: two exchanges with the server
  host::ServerState state;
};

AskedServer ParseServer(const std::string& text) {
  constexpr std::uint64_t kHighestPort = 65535;
  const std::size_t colon = text.rfind(':');
  if (colon != std::string::npos && host::IsIpv4Address(text.substr(0, colon))) {
    const auto port = host::ParseNumber(text.substr(colon + 1), kHighestPort);
    if (port && *port > 0) {
      AskedServer target;
      target.server = text;
      target.address = text.substr(0, colon);
      target.port = static_cast<std::uint16_t>(*port);
      return target;
    }
  }
  throw WrongUsage("'" + text + "' is no address and port, as in 192.0.2.1:25200");
}

// A server's address and its game identifier, and so on.
std::vector<AskedServer> ParseServers(const std::vector<std::string>& words) {
  std::vector<AskedServer> targets;
  for (const std::string& word : words) {
    if (!targets.empty() && targets.back().gameId.empty()) {
      if (!host::ParseNumber(word, std::numeric_limits<std::uint64_t>::max())) {
        throw WrongUsage("'" + word + "' is no game identifier, a decimal number");
      }
      targets.back().gameId = word;
    } else {
      targets.push_back(ParseServer(word));
    }
  }
  if (targets.empty()) throw WrongUsage("no server is given");
  if (targets.back().gameId.empty()) {
    throw WrongUsage("the game identifier of " + targets.back().server + " is missing");
  }
  if (targets.size() > kMaxServers) {
    throw WrongUsage("more than " + std::to_string(kMaxServers) + " servers");
  }
  return targets;
}

struct StatusSentence {
  const char* status;
  const char* sentence;
};

constexpr StatusSentence kSentences[] = {
    {"", "this computer gave no socket to ask with"},
    {"ERROR_CONNECT_FAILED", "this computer has no way to that address"},
    {"ERROR_CONNECT_INVALID_ARGUMENT", "the game identifier is no number of 64 bits"},
    {"ERROR_SENDTO_FAILED", "the question could not be sent: no network, or a firewall"},
    {"ERROR_SELECT_FAILED_OR_TIMEDOUT",
     "no answer within a second: no server is there, or it does not answer this game identifier"},
    {"ERROR_RECVFROM_FAILED", "no server listens at that port, or its answer was empty"},
    {"ERROR_MARSHALLING_EXCEPTION", "the answer ends early: it is no server of this kind"},
    {"ERROR_PROTOCOL_VERSION",
     "the server speaks a version of the protocol that the launcher does not know"},
};

// What a query ended with, as a sentence and as the launcher's word for it.
std::string Describe(const std::string& status) {
  for (const StatusSentence& known : kSentences) {
    if (status == known.status) {
      return known.sentence + (status.empty() ? std::string() : " (" + status + ")");
    }
  }
  return status;
}

std::string Counted(std::size_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// "12:34"
std::string RoundTime(const std::string& seconds) {
  constexpr std::uint64_t kMinute = 60;
  const auto value = host::ParseNumber(seconds, std::numeric_limits<std::uint64_t>::max());
  if (!value) return seconds;
  const std::uint64_t rest = *value % kMinute;
  return std::to_string(*value / kMinute) + (rest < 10 ? ":0" : ":") + std::to_string(rest);
}

std::size_t PlayerCount(const host::ServerState& state) {
  std::size_t count = 0;
  for (const host::Team& team : state.teams) count += team.players.size();
  return count;
}

void PrintMode(Session& session, const host::ServerState& state) {
  for (const host::ModeRow& row : state.modeRows) {
    const bool isNumber = row.name.find_first_not_of("0123456789") == std::string::npos;
    const bool isPlayer = state.modeKind == "armsLadder";
    std::string line =
        "  " + (isPlayer ? "player " : std::string(isNumber ? "team " : "")) + row.name + ":";
    for (const auto& [name, value] : row.values) line += " " + name + " " + std::to_string(value);
    session.Out().Line(line);
  }
}

// Numbered from 1, as the modes count their teams.
void PrintTeam(Session& session, std::size_t number, const host::Team& team) {
  session.Out().Line();
  session.Out().Line("Team " + std::to_string(number) + ", faction " +
                     std::to_string(team.faction) + ", " + Counted(team.players.size(), "player"));
  if (team.players.empty()) return;
  std::vector<host::Player> players = team.players;
  std::stable_sort(players.begin(), players.end(),
                   [](const host::Player& a, const host::Player& b) { return a.score > b.score; });
  std::vector<Row> rows{{"TAG", "PLAYER", "RANK", "SCORE", "KILLS", "DEATHS", "SQUAD"}};
  for (const host::Player& player : players) {
    rows.push_back({player.tag, player.name, std::to_string(player.rank),
                    std::to_string(player.score), std::to_string(player.kills),
                    std::to_string(player.deaths), std::to_string(player.squad)});
  }
  session.Out().Table(rows, {Align::kLeft, Align::kLeft, Align::kRight, Align::kRight,
                             Align::kRight, Align::kRight, Align::kRight});
}

void PrintServer(Session& session, const AskedServer& target) {
  const host::ServerState& state = target.state;
  session.Out().Line("Mode     " + state.gameMode);
  session.Out().Line("Map      " + state.currentMap + ", variant " +
                     std::to_string(state.mapVariant));
  session.Out().Line("Round    " + RoundTime(state.roundTime) + ", time factor " +
                     state.defaultRoundTimeMultiplier);
  session.Out().Line("Players  " + std::to_string(PlayerCount(state)) + " of " +
                     std::to_string(state.maxPlayers) + ", " +
                     std::to_string(state.waitingPlayers) + " waiting");
  session.Out().Line("Answer   " + std::to_string(target.milliseconds) + " ms");
  if (state.suspicious) {
    session.Out().Line(
        "Beware   a text of this server imitates players; what is shown may be false");
  }
  PrintMode(session, state);
  for (std::size_t i = 0; i < state.teams.size(); ++i) PrintTeam(session, i + 1, state.teams[i]);
}

bool Contains(std::string text, std::string part) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  std::transform(text.begin(), text.end(), text.begin(), lower);
  std::transform(part.begin(), part.end(), part.begin(), lower);
  return text.find(part) != std::string::npos;
}

/// One run of the command.
class Query {
 public:
  Query(Session& consoleSession, const QueryArguments& commandArguments)
      : session(consoleSession),
        arguments(commandArguments),
        targets(ParseServers(CollectWords(arguments.words, arguments.rounds.file))) {}

  ExitCode Run() {
    bool isInterrupted = false;
    std::size_t done = 0;
    try {
      for (;;) {
        Round();
        ++done;
        const bool goesOn = arguments.rounds.GoesOn(done);
        if (arguments.rounds.isWatching || goesOn || done > 1) {
          const bool isSeparated = done > 1 && !arguments.rounds.isWatching && !session.IsJson();
          if (isSeparated) session.Out().Line();
          Show();
        }
        if (!goesOn) break;
        Session::Pause(ToMilliseconds(arguments.rounds.intervalSeconds));
      }
    } catch (const CommandError& error) {
      if (error.exitCode != ExitCode::kInterrupted || done == 0) throw;
      isInterrupted = true;
    }
    if (done == 1 && !isInterrupted && !arguments.rounds.isWatching) ShowOnce();
    if (!session.IsJson() && done > 1) PrintSummary();
    if (isInterrupted) return ExitCode::kInterrupted;
    return answered == asked ? ExitCode::kDone : ExitCode::kNotDone;
  }

 private:
  void Round() {
    for (AskedServer& target : targets) target.isAnswered = false;
    asked += targets.size();
    for (std::size_t attempt = 0; attempt <= arguments.rounds.retries; ++attempt) {
      std::vector<AskedServer*> open;
      for (AskedServer& target : targets) {
        if (!target.isAnswered) open.push_back(&target);
      }
      for (std::size_t begin = 0; begin < open.size(); begin += kMostAtOnce) {
        const std::size_t end = std::min(begin + kMostAtOnce, open.size());
        Ask({open.begin() + static_cast<std::ptrdiff_t>(begin),
             open.begin() + static_cast<std::ptrdiff_t>(end)});
      }
    }
    answered += static_cast<std::size_t>(
        std::count_if(targets.begin(), targets.end(),
                      [](const AskedServer& target) { return target.isAnswered; }));
  }

  void Ask(const std::vector<AskedServer*>& some) {
    for (std::size_t i = 0; i < some.size(); ++i) {
      AskedServer& target = *some[i];
      target.asked = GetTickCount64();
      session.Launcher().QueryServer("query", std::to_string(i), target.gameId, target.address,
                                     target.port);
    }
    std::size_t come = 0;
    // The launcher itself gives up after about two seconds.
    const bool isComplete = session.Wait(
        ToMilliseconds(arguments.rounds.timeoutSeconds), Session::Polling::kNo,
        [&](const host::Event& event) {
          if (!host::IsQueryResult(event)) return false;
          const std::size_t index = std::stoul(event.arguments[0]);
          if (index >= some.size()) return false;
          AskedServer& target = *some[index];
          target.milliseconds = GetTickCount64() - target.asked;
          target.state = host::ReadQueryResult(event.arguments[1]);
          target.isAnswered = target.state.status == "SUCCESS";
          return ++come == some.size();
        },
        [&](std::chrono::milliseconds) {
          session.Out().Progress("asking: " + std::to_string(come) + " of " +
                                 Counted(some.size(), "server"));
        });
    if (!isComplete) throw NotDone("the launcher has not reported on every server in time");
  }

  bool IsWanted(const AskedServer& target) const {
    const bool hasFilter = arguments.notEmpty || arguments.notFull || !arguments.map.empty() ||
                           !arguments.mode.empty();
    if (!target.isAnswered) return !hasFilter;
    const std::size_t players = PlayerCount(target.state);
    return !(arguments.notEmpty && players == 0) &&
           !(arguments.notFull && players >= target.state.maxPlayers) &&
           Contains(target.state.currentMap, arguments.map) &&
           Contains(target.state.gameMode, arguments.mode);
  }

  // Sorted and filtered. Those that did not answer come last, save in the order given.
  std::vector<const AskedServer*> Shown() const {
    std::vector<const AskedServer*> shown;
    for (const AskedServer& target : targets) {
      if (IsWanted(target)) shown.push_back(&target);
    }
    const auto sortBy = [&shown](const auto& key) {
      std::stable_sort(shown.begin(), shown.end(),
                       [&key](const AskedServer* a, const AskedServer* b) {
                         if (a->isAnswered != b->isAnswered) return a->isAnswered;
                         return key(*a) < key(*b);
                       });
    };
    if (arguments.sort == "time") {
      sortBy([](const AskedServer& target) { return target.milliseconds; });
    } else if (arguments.sort == "players") {
      sortBy([](const AskedServer& target) {
        return std::numeric_limits<std::size_t>::max() - PlayerCount(target.state);
      });
    } else if (arguments.sort == "map") {
      sortBy([](const AskedServer& target) { return target.state.currentMap; });
    } else if (arguments.sort == "address") {
      sortBy([](const AskedServer& target) {
        return std::pair(AddressNumber(target.address), target.port);
      });
    }
    return shown;
  }

  // A single server that did not answer is a failure of the command.
  void ShowOnce() {
    const AskedServer& only = targets.front();
    if (targets.size() == 1 && !only.isAnswered) {
      throw NotDone(only.server + ": " + Describe(only.state.status));
    }
    Show();
  }

  void Show() {
    if (session.IsJson()) {
      PrintJson();
      return;
    }
    if (arguments.rounds.isWatching) session.Out().Redraw();
    const std::vector<const AskedServer*> shown = Shown();
    if (targets.size() > 1) PrintTable(shown);
    if (targets.size() > 1 && !arguments.isDetailed) return;
    for (const AskedServer* const target : shown) {
      if (targets.size() > 1) {
        session.Out().Line();
        session.Out().Line(target->server);
      }
      if (target->isAnswered) {
        PrintServer(session, *target);
      } else {
        session.Out().Line(Describe(target->state.status));
      }
    }
  }

  void PrintTable(const std::vector<const AskedServer*>& shown) const {
    std::vector<Row> rows{{"SERVER", "MODE", "MAP", "PLAYERS", "WAITING", "ANSWER"}};
    std::vector<const AskedServer*> silent;
    for (const AskedServer* const target : shown) {
      if (!target->isAnswered) {
        silent.push_back(target);
        rows.push_back({target->server, "", "", "", "", "none"});
        continue;
      }
      const host::ServerState& state = target->state;
      rows.push_back({target->server, state.gameMode, state.currentMap,
                      std::to_string(PlayerCount(state)) + "/" + std::to_string(state.maxPlayers),
                      std::to_string(state.waitingPlayers),
                      std::to_string(target->milliseconds) + " ms"});
    }
    session.Out().Table(rows, {Align::kLeft, Align::kLeft, Align::kLeft, Align::kRight,
                               Align::kRight, Align::kRight});
    if (!silent.empty()) session.Out().Line();
    for (const AskedServer* const target : silent) {
      session.Out().Line(target->server + ": " + Describe(target->state.status));
    }
  }

  void PrintSummary() const {
    session.Out().Line();
    session.Out().Line(std::to_string(answered) + " of " + Counted(asked, "question") +
                       " answered");
  }

  void PrintJson() const {
    Json servers = Json::array();
    for (const AskedServer* const target : Shown()) {
      Json server = {{"server", target->server}, {"status", target->state.status}};
      if (target->isAnswered) {
        server["milliseconds"] = target->milliseconds;
        server["state"] = host::ToJson(target->state);
      } else {
        server["message"] = Describe(target->state.status);
      }
      servers.push_back(std::move(server));
    }
    Json result = {{"servers", std::move(servers)}};
    if (arguments.rounds.isWatching || arguments.rounds.count > 1) {
      session.ResultLine(std::move(result));
    } else {
      session.Result(std::move(result));
    }
  }

  Session& session;
  const QueryArguments& arguments;
  std::vector<AskedServer> targets;
  std::size_t asked = 0;
  std::size_t answered = 0;
};

}  // namespace

void AddQueryCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<QueryArguments>();
  arguments->rounds.timeoutSeconds = 30;
  CLI::App* const query =
      app.add_subcommand("query", "Ask game servers for their mode, map, round and players");
  query->group(kServersGroup);
  query->add_option("SERVER", arguments->words,
                    "ADDRESS:PORT and the server's game identifier, a decimal number, for each "
                    "server");
  AddRoundOptions(*query, arguments->rounds);
  query->add_option("--sort", arguments->sort, "given (default), time, players, map, or address")
      ->check(CLI::IsMember({"given", "time", "players", "map", "address"}).description(""))
      ->type_name("ORDER");
  query->add_option("--map", arguments->map, "Only servers whose map's name has this in it")
      ->type_name("TEXT");
  query->add_option("--mode", arguments->mode, "Only servers whose mode's name has this in it")
      ->type_name("TEXT");
  query->add_flag("--not-empty", arguments->notEmpty, "Only servers with players");
  query->add_flag("--not-full", arguments->notFull, "Only servers with a free place");
  query->add_flag("--players", arguments->isDetailed,
                  "Show the scoreboards of several servers, too");
  query->footer(
      "Examples:\n"
      "  launcher-console query 192.0.2.1:25200 1\n"
      "  launcher-console query 192.0.2.1:25200 1 192.0.2.2:25200 7 --sort players\n"
      "  launcher-console query --file servers.txt --not-full --map harbour\n"
      "  launcher-console query 192.0.2.1:25200 1 --watch --interval 5");
  query->callback([&action, arguments] {
    action = [arguments](Session& session) { return Query(session, *arguments).Run(); };
  });
}

}  // namespace console
