#include "hosts/common/results.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "hosts/common/line_reader.h"

namespace host {
namespace {

using Kind = LineValue::Kind;

constexpr std::uint64_t kMost8 = 0xFF;
constexpr std::uint64_t kMost16 = 0xFFFF;
constexpr std::uint64_t kMost32 = 0xFFFFFFFF;
constexpr std::uint64_t kMost64 = std::numeric_limits<std::uint64_t>::max();
constexpr LineValue kText{Kind::kStrangeText};
constexpr LineValue kNoValue{};

constexpr LineValue Number(std::uint64_t most) { return {Kind::kNumber, most}; }

[[noreturn]] void ThrowNotWritten() {
  throw std::runtime_error("the launcher cannot have written this result");
}

// The reader has checked that it is one.
std::uint64_t ToNumber(std::string_view text) {
  std::uint64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

/// The lines of one of the launcher's results, each with what is to be done with its value.
template <typename Result>
class ResultLines {
 public:
  using Use = std::function<void(Result&, std::string_view)>;

  int NewPlace() { return ++places; }

  /// A line at `from`; leads to `to`, or to a new place, and returns it.
  int Add(int from, std::string_view before, LineValue value, std::string_view after, Use use) {
    return Add(from, before, value, after, std::move(use), NewPlace());
  }
  int Add(int from, std::string_view before, LineValue value, std::string_view after, Use use,
          int to) {
    forms.push_back({from, before, value, after, to});
    uses.push_back(std::move(use));
    return to;
  }

  /// Lines without a value.
  int Add(int from, std::initializer_list<std::string_view> lines) {
    for (const std::string_view line : lines) from = Add(from, line, kNoValue, "", nullptr);
    return from;
  }
  int Add(int from, std::string_view line, int to) {
    return Add(from, line, kNoValue, "", nullptr, to);
  }

  void EndAt(int place) { reader.emplace(forms, place); }

  std::vector<FoundLine> Read(std::string_view text, Result& result) const {
    const auto found = reader->Read(text);
    if (!found) ThrowNotWritten();
    for (const FoundLine& line : *found) {
      if (uses[line.form]) uses[line.form](result, line.value);
    }
    return *found;
  }

  bool IsText(const FoundLine& line) const {
    return forms[line.form].value.kind == Kind::kStrangeText;
  }

 private:
  std::vector<LineForm> forms;
  std::vector<Use> uses;
  std::optional<LineReader> reader;
  int places = 0;
};

bool HasLineEnd(std::string_view text) { return text.find('\n') != std::string_view::npos; }

// A text as a result shows it.
std::string Shown(std::string_view text) { return HasLineEnd(text) ? "" : std::string(text); }

struct StateBeingRead : ServerState {
  std::uint64_t maxArmsLadderLevel = 0;
};

class QueryLines : public ResultLines<StateBeingRead> {
 public:
  QueryLines() {
    const int section = AddHeader();
    const int teams = NewPlace();
    AddTeamScores(section, "frontier", {{"tickets"}, {"ticketsMax"}}, "    },", teams);
    AddTeamScores(section, "killrace", {{"kills"}, {"killsMax"}}, "  },", teams);
    AddBreach(section, teams);
    AddArmsLadder(section, teams);
    AddTeamScores(section, "seizeTheBanner",
                  {{"flags"}, {"flagsMax"}, {"roundTimeMax", kMost16, "\t\t  "}}, "    },", teams);
    AddTeamScores(section, "vesselStrike", {{"explodedCrates", kMost8}, {"vesselHealth"}}, "    },",
                  teams);
    const int inTeams = NewPlace();
    // Without a section the teams come at once.
    for (const int place : {section, teams}) Add(place, R"(  "teamInfo": )", inTeams);
    EndAt(AddTeams(inTeams));
  }

 private:
  struct Count {
    std::string_view name;
    std::uint64_t most = kMost16;
    std::string_view indent = "          ";
  };

  // Texts of the forms that are put together here; forms refer to them.
  std::string_view Keep(std::string text) { return kept.emplace_back(std::move(text)); }

  int AddHeader() {
    int at = Add(0, {"{"});
    const auto quoted = [&](std::string_view before, LineValue value,
                            std::string ServerState::*member) {
      at = Add(at, before, value, "\", ", [member](StateBeingRead& state, std::string_view text) {
        state.*member = Shown(text);
      });
    };
    const auto plain = [&](std::string_view before, std::uint64_t ServerState::*member) {
      at = Add(at, before, Number(kMost8), ",",
               [member](StateBeingRead& state, std::string_view text) {
                 state.*member = ToNumber(text);
               });
    };
    quoted(R"(  "status": ")", {Kind::kWord}, &ServerState::status);
    quoted(R"(  "platform": ")", Number(kMost8), &ServerState::platform);
    quoted(R"(  "persistedIdPart1": ")", Number(kMost64), &ServerState::persistedIdPart1);
    quoted(R"(  "persistedIdPart2": ")", Number(kMost64), &ServerState::persistedIdPart2);
    quoted(R"(  "gameId": ")", Number(kMost64), &ServerState::gameId);
    quoted(R"(  "gameMode": ")", kText, &ServerState::gameMode);
    plain(R"(  "mapVariant": )", &ServerState::mapVariant);
    quoted(R"(  "currentMap": ")", kText, &ServerState::currentMap);
    quoted(R"(  "roundTime": ")", Number(kMost32), &ServerState::roundTime);
    quoted(R"(  "defaultRoundTimeMultiplier": ")", Number(kMost32),
           &ServerState::defaultRoundTimeMultiplier);
    plain(R"(  "maxPlayers": )", &ServerState::maxPlayers);
    plain(R"(  "waitingPlayers": )", &ServerState::waitingPlayers);
    return at;
  }

  int AddSectionHead(int from, std::string_view kind) {
    const int at = Add(from, Keep("  \"" + std::string(kind) + "\": "), kNoValue, "",
                       [kind](StateBeingRead& state, std::string_view) { state.modeKind = kind; });
    return Add(at, {"  {"});
  }

  int AddCount(int from, Count count, std::string_view after, int to) {
    return Add(
        from, Keep(std::string(count.indent) + "\"" + std::string(count.name) + "\": "),
        Number(count.most), after,
        [count](StateBeingRead& state, std::string_view text) {
          state.modeRows.back().values.emplace_back(count.name, ToNumber(text));
        },
        to);
  }

  void AddTeamScores(int section, std::string_view kind, std::initializer_list<Count> counts,
                     std::string_view closing, int to) {
    const int entry = AddSectionHead(section, kind);
    const auto addRow = [](StateBeingRead& state, std::string_view team) {
      state.modeRows.push_back({std::string(team), {}});
    };
    int at = Add(Add(entry, "    \"", Number(kMost8), "\":", addRow), {"    {"});
    for (const Count& count : counts) {
      at = AddCount(at, count, &count == counts.end() - 1 ? "" : ",", NewPlace());
    }
    Add(at, "        },", entry);
    Add(Add(at, {"        }"}), closing, to);
  }

  void AddBreach(int section, int to) {
    int at = AddSectionHead(section, "breach");
    const auto addSide = [&](std::string_view line, const std::string& name,
                             std::initializer_list<Count> counts, std::string_view closing) {
      at = Add(at, line, kNoValue, "", [name](StateBeingRead& state, std::string_view) {
        state.modeRows.push_back({name, {}});
      });
      at = Add(at, {"    {"});
      for (const Count& count : counts) {
        at = AddCount(at, count, &count == counts.end() - 1 ? "" : ",", NewPlace());
      }
      at = Add(at, {closing});
    };
    addSide(R"(    "attackers": )", "attackers", {{"team", kMost8}, {"tickets"}, {"ticketsMax"}},
            "    },");
    addSide(R"(    "defenders": )", "defenders",
            {{"team", kMost8}, {"bases", kMost8}, {"basesMax", kMost8}}, "    }");
    Add(at, "  },", to);
  }

  // { "maxArmsLadderLevel": 12, "players": { "1001":3, ... } } becomes a row for each player.
  void AddArmsLadder(int section, int to) {
    int at = AddSectionHead(section, "armsLadder");
    at = Add(at, R"(    "maxArmsLadderLevel": )", Number(kMost8), ",",
             [](StateBeingRead& state, std::string_view text) {
               state.maxArmsLadderLevel = ToNumber(text);
             });
    const int first = Add(at, {R"(    "players": )", "    {"});
    const int next = NewPlace();
    const int end = NewPlace();
    const auto addRow = [](StateBeingRead& state, std::string_view text) {
      const std::size_t quote = text.find('"');
      state.modeRows.push_back(
          {std::string(text.substr(0, quote)),
           {{"level", ToNumber(text.substr(quote + 2))}, {"maxLevel", state.maxArmsLadderLevel}}});
    };
    const LineValue player{Kind::kTwoNumbers, kMost8};
    for (const int from : {first, next}) {
      Add(from, "        \"", player, ",", addRow, next);
      Add(from, "        \"", player, "", addRow, end);
    }
    const int closed = NewPlace();
    for (const int from : {first, end}) Add(from, "    }", closed);
    Add(closed, "  },", to);
  }

  // Returns the end of the result.
  int AddTeams(int from) {
    const int firstTeam = Add(from, {"  {"});
    const int nextTeam = NewPlace();
    const int inTeam = NewPlace();
    const int end = NewPlace();
    const auto addTeam = [](StateBeingRead& state, std::string_view) {
      state.teams.emplace_back();
    };
    for (const int place : {firstTeam, nextTeam}) {
      Add(place, "    \"", Number(kMost8), "\":", addTeam, inTeam);
    }
    int at = Add(inTeam, {"    {"});
    at = Add(at, R"(      "faction": )", Number(kMost8), ",",
             [](StateBeingRead& state, std::string_view text) {
               state.teams.back().faction = ToNumber(text);
             });
    const int teamEnd = AddPlayers(Add(at, {R"(      "players":  )", "      {"}));
    Add(teamEnd, "    },", nextTeam);
    Add(teamEnd, "    }", end);
    const int closed = NewPlace();
    for (const int place : {firstTeam, end}) Add(place, "  }", closed);
    return Add(closed, {"}"});
  }

  int AddPlayers(int first) {
    const int next = NewPlace();
    const int inPlayer = NewPlace();
    const int last = NewPlace();
    const int closed = NewPlace();
    const auto addPlayer = [](StateBeingRead& state, std::string_view id) {
      state.teams.back().players.emplace_back().playerId = id;
    };
    for (const int place : {first, next}) {
      Add(place, "        \"", Number(kMost64), "\":", addPlayer, inPlayer);
    }
    int at = Add(inPlayer, {"        {"});
    at = AddText(at, R"(          "name": ")", &Player::name);
    at = AddText(at, R"(          "tag": ")", &Player::tag);
    const auto number = [&](std::string_view before, std::uint64_t most, std::string_view after,
                            std::uint64_t Player::*member) {
      at = Add(at, before, Number(most), after,
               [member](StateBeingRead& state, std::string_view text) {
                 state.teams.back().players.back().*member = ToNumber(text);
               });
    };
    number(R"(          "rank": )", kMost16, ",", &Player::rank);
    number(R"(          "score": )", kMost32, ",", &Player::score);
    number(R"(          "kills": )", kMost16, ",", &Player::kills);
    number(R"(          "deaths": )", kMost16, ",", &Player::deaths);
    number(R"(          "squad": )", kMost8, ",", &Player::squad);
    number(R"(          "role": )", kMost8, " ", &Player::role);
    Add(at, "        },", next);
    Add(at, "        }", last);
    for (const int place : {first, last}) Add(place, "      }", closed);
    return closed;
  }

  int AddText(int from, std::string_view before, std::string Player::*member) {
    return Add(from, before, kText, "\",", [member](StateBeingRead& state, std::string_view text) {
      state.teams.back().players.back().*member = Shown(text);
    });
  }

  std::deque<std::string> kept;
};

// How many bytes a server needs for this text. A byte that was no UTF-8 has become three.
std::size_t LengthOnTheWire(std::string_view text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::size_t length = text.size();
  for (std::size_t at = text.find(kReplacement); at != std::string_view::npos;
       at = text.find(kReplacement, at + kReplacement.size())) {
    length -= kReplacement.size() - 1;
  }
  return length;
}

// Whether everything from one player's name (or tag) to the next one's could be one name (or tag).
// It could not reach further, nor from one team into the next.
bool IsAmbiguous(const QueryLines& lines, const std::vector<FoundLine>& found) {
  constexpr std::size_t kLongestText = 255;
  std::map<std::size_t, const char*> begins;  // by form
  for (const FoundLine& line : found) {
    if (!lines.IsText(line)) continue;
    const char*& begin = begins[line.form];
    const char* const end = line.value.data() + line.value.size();
    if (begin != nullptr &&
        LengthOnTheWire({begin, static_cast<std::size_t>(end - begin)}) <= kLongestText) {
      return true;
    }
    begin = line.value.data();
  }
  return false;
}

// Of the launcher, zeros and times of no answer included.
struct RawTime {
  std::string address;
  std::uint32_t milliseconds = 0;
};

class PingLines : public ResultLines<std::vector<RawTime>> {
 public:
  PingLines() {
    using Times = std::vector<RawTime>;
    const int first = Add(0, {"["});
    const int next = NewPlace();
    const int inEntry = NewPlace();
    const int last = NewPlace();
    const int end = NewPlace();
    for (const int place : {first, next}) Add(place, "\t{", inEntry);
    int at = Add(inEntry, "\t\t\"ipAddress\": \"", kText, "\",",
                 [](Times& times, std::string_view text) { times.push_back({Shown(text)}); });
    at = Add(at, "\t\t\"roundTripMSEC\": ", Number(kMost32), "",
             [](Times& times, std::string_view text) {
               times.back().milliseconds = static_cast<std::uint32_t>(ToNumber(text));
             });
    Add(at, "\t},", next);
    Add(at, "\t}", last);
    for (const int place : {first, last}) Add(place, "]", end);
    EndAt(end);
  }
};

// Member by member, without a search for the name: a response can hold thousands of players, and a
// list in braces would make a list of pairs first.
Json ToJson(const Player& player) {
  constexpr std::size_t kMembers = 9;
  Json::object_t json;
  json.reserve(kMembers);
  json.emplace_back("playerId", player.playerId);
  json.emplace_back("name", player.name);
  json.emplace_back("tag", player.tag);
  json.emplace_back("rank", player.rank);
  json.emplace_back("score", player.score);
  json.emplace_back("kills", player.kills);
  json.emplace_back("deaths", player.deaths);
  json.emplace_back("squad", player.squad);
  json.emplace_back("role", player.role);
  return json;
}

}  // namespace

PingResult ReadPingResult(const std::string& text) {
  // The launcher asks the helper to wait so long for an echo. What is above is no time.
  constexpr std::uint32_t kLongestTime = 500;
  static const PingLines lines;
  std::vector<RawTime> raw;
  lines.Read(text, raw);
  if (raw.empty() || raw.back().address != kImpossibleAddress) ThrowNotWritten();
  PingResult result;
  result.hasTimes = raw.back().milliseconds != 0;
  raw.pop_back();
  for (RawTime& time : raw) {
    const bool isAnswer = result.hasTimes && time.milliseconds <= kLongestTime;
    result.times.push_back(
        {std::move(time.address), isAnswer ? std::optional(time.milliseconds) : std::nullopt});
  }
  return result;
}

ServerState ReadQueryResult(const std::string& text) {
  static const QueryLines lines;
  StateBeingRead state;
  const std::vector<FoundLine> found = lines.Read(text, state);
  state.suspicious = std::any_of(found.begin(), found.end(),
                                 [](const FoundLine& line) { return HasLineEnd(line.value); });
  state.ambiguous = !state.suspicious && IsAmbiguous(lines, found);
  // Without what is needed while reading. NOLINTNEXTLINE(cppcoreguidelines-slicing)
  return state;
}

Json ToJson(const ServerState& state) {
  Json json = {{"suspicious", state.suspicious},
               {"ambiguous", state.ambiguous},
               {"status", state.status},
               {"platform", state.platform},
               {"persistedIdPart1", state.persistedIdPart1},
               {"persistedIdPart2", state.persistedIdPart2},
               {"gameId", state.gameId},
               {"gameMode", state.gameMode},
               {"mapVariant", state.mapVariant},
               {"currentMap", state.currentMap},
               {"roundTime", state.roundTime},
               {"defaultRoundTimeMultiplier", state.defaultRoundTimeMultiplier},
               {"maxPlayers", state.maxPlayers},
               {"waitingPlayers", state.waitingPlayers}};
  Json mode = {{"kind", state.modeKind}, {"rows", Json::array()}};
  for (const ModeRow& row : state.modeRows) {
    Json values = Json::object();
    for (const auto& [name, value] : row.values) values[name] = value;
    mode["rows"].push_back({{"name", row.name}, {"values", values}});
  }
  json["mode"] = std::move(mode);
  json["teams"] = Json::array();
  for (const Team& team : state.teams) {
    Json players = Json::array();
    for (const Player& player : team.players) players.push_back(ToJson(player));
    json["teams"].push_back({{"faction", team.faction}, {"players", std::move(players)}});
  }
  return json;
}

}  // namespace host
