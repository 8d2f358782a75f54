// What is known of a game server's state.
#ifndef LAUNCHER_QUERY_QUERY_RESULT_H_
#define LAUNCHER_QUERY_QUERY_RESULT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "query/query_status.h"

namespace launcher {

/// Memory for the players' texts, in one block: a server may send hundreds of them.
class TextArena {
 public:
  /// Makes room for texts that take `size` characters together, terminators included.
  void Reserve(std::size_t size) { memory.reset(new wchar_t[size]); }

  /// Where the next text goes.
  wchar_t* Free() { return memory.get() + used; }

  /// Keeps the text that was written to `Free()`. Stays valid as long as the arena, moved or not.
  std::wstring_view Keep(std::size_t length) {
    const std::wstring_view text(Free(), length);
    used += length;
    return text;
  }

 private:
  std::unique_ptr<wchar_t[]> memory;
  std::size_t used = 0;
};

struct PlayerRecord {
  std::uint64_t playerId = 0;
  /// In the result's `texts`.
  std::wstring_view name;
  std::wstring_view tag;
  std::uint16_t rank = 0;
  std::uint32_t score = 0;
  std::uint16_t kills = 0;
  std::uint16_t deaths = 0;
  std::uint8_t squad = 0;
  std::uint8_t role = 0;
};

struct TeamRecord {
  /// As the server announced it; `players` holds those that were read.
  std::uint8_t playerCount = 0;
  /// Team 0 has none on the wire and keeps 0.
  std::uint8_t faction = 0;
  std::vector<PlayerRecord> players;
};

struct FrontierScore {
  std::uint16_t tickets = 0;
  std::uint16_t ticketsMax = 0;
};

struct KillraceScore {
  std::uint16_t kills = 0;
  std::uint16_t killsMax = 0;
};

struct BreachState {
  std::uint8_t attackersTeam = 0;
  std::uint8_t defendersTeam = 0;
  std::uint16_t tickets = 0;
  std::uint16_t ticketsMax = 0;
  std::uint8_t bases = 0;
  std::uint8_t basesMax = 0;

  bool operator==(const BreachState&) const = default;
};

struct ArmsLadderPlayer {
  std::uint64_t playerId = 0;
  std::uint8_t level = 0;
};

struct SeizeTheBannerScore {
  std::uint16_t flags = 0;
  std::uint16_t flagsMax = 0;
  std::uint16_t roundTimeMax = 0;
};

struct VesselStrikeScore {
  std::uint8_t explodedCrates = 0;
  std::uint16_t vesselHealth = 0;
};

/// Scores by team number, ascending. A team that is sent twice keeps its last scores.
template <typename Score>
using TeamScores = std::map<std::uint8_t, Score>;

/// Fields that were not (yet) read are zero or empty. At most one of the mode sections holds data.
struct QueryResult {
  QueryStatus status = QueryStatus::kNone;
  std::uint8_t platform = 0;
  std::uint64_t persistedIdPart1 = 0;
  std::uint64_t persistedIdPart2 = 0;
  std::uint64_t gameId = 0;
  std::wstring gameMode;
  std::uint8_t mapVariant = 0;
  std::wstring currentMap;
  std::uint32_t roundTime = 0;
  std::uint32_t defaultRoundTimeMultiplier = 0;
  std::uint8_t maxPlayers = 0;
  std::uint8_t waitingPlayers = 0;
  std::vector<TeamRecord> teams;
  TeamScores<FrontierScore> frontierScores;
  TeamScores<KillraceScore> killraceScores;
  BreachState breach;
  std::uint8_t maxArmsLadderLevel = 0;
  std::vector<ArmsLadderPlayer> armsLadderPlayers;
  TeamScores<SeizeTheBannerScore> seizeTheBannerScores;
  TeamScores<VesselStrikeScore> vesselStrikeScores;
  TextArena texts;
};

}  // namespace launcher

#endif  // LAUNCHER_QUERY_QUERY_RESULT_H_
