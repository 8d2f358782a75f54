// Reads the JSON texts that a ping batch and a server query end with.
#ifndef LAUNCHER_HOSTS_COMMON_RESULTS_H_
#define LAUNCHER_HOSTS_COMMON_RESULTS_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// Keeps the order in which members are added.
using Json = nlohmann::ordered_json;

struct PingTime {
  std::string address;
  std::uint32_t milliseconds = 0;
};

/// The helper's time for an address that did not answer.
inline constexpr std::uint32_t kNoAnswer = 0xFFFFFFFF;

struct Player {
  std::string playerId;  // 64 bits, more than a JavaScript number holds
  std::string name;
  std::string tag;
  std::uint64_t rank = 0;
  std::uint64_t score = 0;
  std::uint64_t kills = 0;
  std::uint64_t deaths = 0;
  std::uint64_t squad = 0;
  std::uint64_t role = 0;
};

struct Team {
  std::uint64_t faction = 0;
  std::vector<Player> players;
};

using NamedNumbers = std::vector<std::pair<std::string, std::uint64_t>>;

/// One line of what a game mode counts: a team, "attackers", "defenders", or a player's id.
struct ModeRow {
  std::string name;
  NamedNumbers values;
};

struct ServerState {
  std::string status;  // "SUCCESS", or what went wrong
  std::string platform;
  std::string persistedIdPart1;
  std::string persistedIdPart2;
  std::string gameId;
  std::string gameMode;
  std::uint64_t mapVariant = 0;
  std::string currentMap;
  std::string roundTime;
  std::string defaultRoundTimeMultiplier;
  std::uint64_t maxPlayers = 0;
  std::uint64_t waitingPlayers = 0;
  std::string modeKind;  // "frontier", "breach", ..., or empty
  std::vector<ModeRow> modeRows;
  std::vector<Team> teams;
};

/// Both take the text of the event and throw std::runtime_error for one that cannot be read.
std::vector<PingTime> ReadPingResult(const std::string& text);
ServerState ReadQueryResult(const std::string& text);

/// The same as strict JSON, for programs that read this one's output.
Json ToJson(const ServerState& state);

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_RESULTS_H_
