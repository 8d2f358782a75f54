/// Reads the JSON texts that a ping batch and a server query end with.
#ifndef LAUNCHER_EXAMPLES_DEMO_RESULTS_H_
#define LAUNCHER_EXAMPLES_DEMO_RESULTS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

struct PingTime {
  std::string address;
  std::uint32_t milliseconds = 0;
};

struct PlayerRow {
  std::string team;
  std::string name;
  std::string tag;
  std::uint64_t rank = 0;
  std::uint64_t score = 0;
  std::uint64_t kills = 0;
  std::uint64_t deaths = 0;
};

struct ServerState {
  std::string status;  // "SUCCESS", or what went wrong
  std::string gameMode;
  std::string currentMap;
  std::string roundTime;  // seconds
  std::uint64_t maxPlayers = 0;
  std::uint64_t waitingPlayers = 0;
  std::uint64_t teamCount = 0;
  std::vector<std::string> modeLines;  // "1: tickets 340, ticketsMax 400"
  std::vector<PlayerRow> players;
};

/// Both throw an exception derived from std::exception for a text of another form.
std::vector<PingTime> ReadPingResult(const std::string& json);
ServerState ReadQueryResult(const std::string& json);

}  // namespace demo

#endif  // LAUNCHER_EXAMPLES_DEMO_RESULTS_H_
