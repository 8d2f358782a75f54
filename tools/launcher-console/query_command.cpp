#include <algorithm>
#include <limits>
#include <memory>

#include "hosts/common/checks.h"
#include "tools/launcher-console/commands.h"

namespace console {
namespace {

struct QueryArguments {
  std::string server;
  std::string gameId;
};

struct Endpoint {
  std::string address;
  std::uint16_t port = 0;
};

Endpoint ParseEndpoint(const std::string& text) {
  constexpr std::uint64_t kHighestPort = 65535;
  const std::size_t colon = text.rfind(':');
  if (colon != std::string::npos && host::IsIpv4Address(text.substr(0, colon))) {
    const auto port = host::ParseNumber(text.substr(colon + 1), kHighestPort);
    if (port && *port > 0) return {text.substr(0, colon), static_cast<std::uint16_t>(*port)};
  }
  throw WrongUsage("'" + text + "' is no address and port, as in 192.0.2.1:25200");
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

void PrintTeam(Session& session, std::size_t number, const host::Team& team) {
  session.Out().Line();
  session.Out().Line("Team " + std::to_string(number) + ", faction " +
                     std::to_string(team.faction) + ", " + std::to_string(team.players.size()) +
                     " players");
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

void Print(Session& session, const host::ServerState& state) {
  session.Out().Line("Mode     " + state.gameMode);
  session.Out().Line("Map      " + state.currentMap + ", variant " +
                     std::to_string(state.mapVariant));
  session.Out().Line("Round    " + RoundTime(state.roundTime) + ", time factor " +
                     state.defaultRoundTimeMultiplier);
  session.Out().Line("Players  " + std::to_string(PlayerCount(state)) + " of " +
                     std::to_string(state.maxPlayers) + ", " +
                     std::to_string(state.waitingPlayers) + " waiting");
  PrintMode(session, state);
  for (std::size_t i = 0; i < state.teams.size(); ++i) PrintTeam(session, i, state.teams[i]);
}

ExitCode Query(Session& session, const QueryArguments& arguments) {
  const Endpoint endpoint = ParseEndpoint(arguments.server);
  if (!host::ParseNumber(arguments.gameId, std::numeric_limits<std::uint64_t>::max())) {
    throw WrongUsage("'" + arguments.gameId + "' is no game identifier, a decimal number");
  }
  session.Launcher().QueryServer("query", arguments.server, arguments.gameId, endpoint.address,
                                 endpoint.port);
  host::ServerState state;
  // The launcher itself gives up after about two seconds.
  session.Wait(Session::kNoLimit, Session::Polling::kNo, [&state](const host::Event& event) {
    if (!host::IsQueryResult(event)) return false;
    state = host::ReadQueryResult(event.arguments[1]);
    return true;
  });
  if (state.status != "SUCCESS") {
    throw NotDone("the server at " + arguments.server + " was not understood or did not answer: " +
                  (state.status.empty() ? "no socket" : state.status));
  }
  if (session.IsJson()) {
    session.Out().Document(host::ToJson(state));
  } else {
    Print(session, state);
  }
  return ExitCode::kDone;
}

}  // namespace

void AddQueryCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<QueryArguments>();
  CLI::App* const query =
      app.add_subcommand("query", "Ask a game server for its mode, map, round and players");
  query->add_option("ADDRESS:PORT", arguments->server, "As in 192.0.2.1:25200")->required();
  query->add_option("GAMEID", arguments->gameId, "The server's game identifier, a decimal number")
      ->required();
  query->callback([&action, arguments] {
    action = [arguments](Session& session) { return Query(session, *arguments); };
  });
}

}  // namespace console
