/// What a ping batch and a server query end with, as structures: for hosts in C++17 that read the
/// JSON of "PingBatchResult" and "QueryServerResult". Part of launcher.hpp; by itself it needs the
/// standard library and no Windows. Texts are UTF-8.
#ifndef LAUNCHER_RESULTS_HPP_
#define LAUNCHER_RESULTS_HPP_

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace launcher_host {

/// What a helper program gives as the time of an address that did not answer, by agreement of the
/// hosts and helpers of this project. The library hands it through.
inline constexpr std::uint32_t kNoAnswerMsec = 0xFFFFFFFF;

struct PingTime {
  std::string address;
  std::uint32_t milliseconds = 0;
};

struct Player {
  std::string playerId;  // 64 bits, more than a double holds
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

/// What a server reports.
struct ServerState {
  std::string status;  // "SUCCESS", or what went wrong
  std::string platform;
  std::string persistedIdPart1;
  std::string persistedIdPart2;
  std::string gameId;
  std::string gameMode;
  std::uint64_t mapVariant = 0;
  std::string currentMap;
  std::string roundTime;  // seconds
  std::string defaultRoundTimeMultiplier;
  std::uint64_t maxPlayers = 0;
  std::uint64_t waitingPlayers = 0;
  std::string modeKind;  // "frontier", "breach", ..., or empty
  std::vector<ModeRow> modeRows;
  std::vector<Team> teams;
};

/// Takes what a JSON parser finds, in its order.
class JsonSink {
 public:
  /// An object or an array; `key` is empty in an array and at the root.
  virtual void Begin(std::string_view key) = 0;
  virtual void End() = 0;
  /// A text or a number; a number as it is written.
  virtual void Value(std::string_view key, std::string_view text) = 0;

 protected:
  ~JsonSink() = default;
};

/// A JSON parser of the host's choice. Note that the launcher writes what a server or the host sent
/// between quotation marks as it is, without escapes, and that two players may have the same key.
/// A strict parser refuses the one and loses the other; docs/formats.md has the details.
class JsonReader {
 public:
  /// False for a text that is no JSON.
  virtual bool Read(std::string_view json, JsonSink& sink) = 0;

 protected:
  ~JsonReader() = default;
};

namespace detail {

// Counts levels, and notices numbers that are none.
class ResultSink : public JsonSink {
 public:
  void Begin(std::string_view key) override {
    path.emplace_back(key);
    Entered();
  }
  void End() override { path.pop_back(); }

  bool IsGood() const { return isGood; }

 protected:
  ~ResultSink() = default;

  virtual void Entered() = 0;
  template <typename Number>
  void Take(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    isGood = isGood && error == std::errc() && stop == end;
  }

  std::vector<std::string> path;  // keys, the root's first

 private:
  bool isGood = true;
};

class PingSink final : public ResultSink {
 public:
  explicit PingSink(std::vector<PingTime>& list) : times(list) {}

  void Value(std::string_view key, std::string_view text) override {
    if (path.size() != 2) return;
    if (key == "ipAddress") times.back().address = text;
    if (key == "roundTripMSEC") Take(text, times.back().milliseconds);
  }

 private:
  void Entered() override {
    if (path.size() == 2) times.emplace_back();
  }

  std::vector<PingTime>& times;
};

class QuerySink final : public ResultSink {
 public:
  explicit QuerySink(ServerState& result) : state(result) {}

  void Value(std::string_view key, std::string_view text) override {
    if (path.size() == 1) {
      TakeServer(key, text);
    } else if (path.size() > 1 && path[1] == "teamInfo") {
      TakePlayer(key, text);
    } else if (path.size() > 1 && path[1] == state.modeKind) {
      TakeMode(key, text);
    }
  }

 private:
  // Levels of the two kinds of sections.
  static constexpr std::size_t kSection = 2;
  static constexpr std::size_t kTeam = 3;
  static constexpr std::size_t kPlayer = 5;  // below "players"

  void Entered() override {
    const std::size_t level = path.size();
    if (level < kSection) return;
    if (path[1] == "teamInfo") {
      if (level == kTeam) state.teams.emplace_back();
      if (level == kPlayer) {
        state.teams.back().players.emplace_back().playerId = path.back();
      }
    } else if (level == kSection) {
      state.modeKind = path.back();
    } else if (state.modeKind != "armsLadder") {
      state.modeRows.push_back({path.back(), {}});
    }
  }

  void TakeServer(std::string_view key, std::string_view text) {
    const std::pair<std::string_view, std::string*> texts[] = {
        {"status", &state.status},
        {"platform", &state.platform},
        {"persistedIdPart1", &state.persistedIdPart1},
        {"persistedIdPart2", &state.persistedIdPart2},
        {"gameId", &state.gameId},
        {"gameMode", &state.gameMode},
        {"currentMap", &state.currentMap},
        {"roundTime", &state.roundTime},
        {"defaultRoundTimeMultiplier", &state.defaultRoundTimeMultiplier}};
    for (const auto& [name, field] : texts) {
      if (key == name) *field = text;
    }
    if (key == "mapVariant") Take(text, state.mapVariant);
    if (key == "maxPlayers") Take(text, state.maxPlayers);
    if (key == "waitingPlayers") Take(text, state.waitingPlayers);
  }

  void TakePlayer(std::string_view key, std::string_view text) {
    if (path.size() == kTeam && key == "faction") Take(text, state.teams.back().faction);
    if (path.size() != kPlayer) return;
    Player& player = state.teams.back().players.back();
    if (key == "name") player.name = text;
    if (key == "tag") player.tag = text;
    const std::pair<std::string_view, std::uint64_t*> numbers[] = {
        {"rank", &player.rank},     {"score", &player.score}, {"kills", &player.kills},
        {"deaths", &player.deaths}, {"squad", &player.squad}, {"role", &player.role}};
    for (const auto& [name, field] : numbers) {
      if (key == name) Take(text, *field);
    }
  }

  // { "maxArmsLadderLevel": 12, "players": { "1001": 3, ... } }, and numbers by name in the others.
  void TakeMode(std::string_view key, std::string_view text) {
    std::uint64_t number = 0;
    Take(text, number);
    if (state.modeKind != "armsLadder") {
      if (path.size() == kSection + 1) state.modeRows.back().values.emplace_back(key, number);
    } else if (key == "maxArmsLadderLevel" && path.size() == kSection) {
      maxLevel = number;
    } else if (path.size() == kSection + 1) {
      state.modeRows.push_back({std::string(key), {{"level", number}, {"maxLevel", maxLevel}}});
    }
  }

  ServerState& state;
  std::uint64_t maxLevel = 0;
};

}  // namespace detail

/// The times of a "PingBatchResult", from the text of its argument 1. False when `reader` refuses the
/// text or a time is no number of 32 bits.
inline bool ReadPingResult(std::string_view json, JsonReader& reader,
                           std::vector<PingTime>& times) {
  times.clear();
  detail::PingSink sink(times);
  return reader.Read(json, sink) && sink.IsGood();
}

/// The server's state of a "QueryServerResult", from the text of its argument 1. True for a query
/// that failed, too: its `status` says so.
inline bool ReadQueryResult(std::string_view json, JsonReader& reader, ServerState& state) {
  state = {};
  detail::QuerySink sink(state);
  return reader.Read(json, sink) && sink.IsGood();
}

}  // namespace launcher_host

#endif  // LAUNCHER_RESULTS_HPP_
