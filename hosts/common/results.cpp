#include "hosts/common/results.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "hosts/common/lenient_json.h"

namespace host {
namespace {

std::uint64_t ToNumber(const std::string& text) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) throw std::runtime_error("no number: " + text);
  return value;
}

const std::string& Text(const JsonNode& parent, std::string_view key) {
  return parent.Child(key).text;
}

std::uint64_t Number(const JsonNode& parent, std::string_view key) {
  return ToNumber(Text(parent, key));
}

ModeRow ReadModeRow(const JsonNode& node) {
  ModeRow row{node.key, {}};
  for (const JsonNode& value : node.children) {
    row.values.emplace_back(value.key, ToNumber(value.text));
  }
  return row;
}

// { "maxArmsLadderLevel": 12, "players": { "1001": 3, ... } }
std::vector<ModeRow> ReadArmsLadder(const JsonNode& section) {
  const std::uint64_t maxLevel = Number(section, "maxArmsLadderLevel");
  std::vector<ModeRow> rows;
  for (const JsonNode& player : section.Child("players").children) {
    rows.push_back({player.key, {{"level", ToNumber(player.text)}, {"maxLevel", maxLevel}}});
  }
  return rows;
}

void ReadModeSection(const JsonNode& result, ServerState& state) {
  constexpr std::array<std::string_view, 6> kKinds{"frontier",   "killrace",       "breach",
                                                   "armsLadder", "seizeTheBanner", "vesselStrike"};
  for (const JsonNode& section : result.children) {
    if (std::find(kKinds.begin(), kKinds.end(), section.key) == kKinds.end()) continue;
    state.modeKind = section.key;
    if (section.key == "armsLadder") {
      state.modeRows = ReadArmsLadder(section);
    } else {
      for (const JsonNode& row : section.children) state.modeRows.push_back(ReadModeRow(row));
    }
    return;  // there is at most one
  }
}

Player ReadPlayer(const JsonNode& node) {
  return {node.key,
          Text(node, "name"),
          Text(node, "tag"),
          Number(node, "rank"),
          Number(node, "score"),
          Number(node, "kills"),
          Number(node, "deaths"),
          Number(node, "squad"),
          Number(node, "role")};
}

Json ToJson(const Player& player) {
  return {{"playerId", player.playerId}, {"name", player.name},   {"tag", player.tag},
          {"rank", player.rank},         {"score", player.score}, {"kills", player.kills},
          {"deaths", player.deaths},     {"squad", player.squad}, {"role", player.role}};
}

}  // namespace

std::vector<PingTime> ReadPingResult(const std::string& text) {
  std::vector<PingTime> times;
  for (const JsonNode& entry : ReadLenientJson(text).children) {
    const std::uint64_t milliseconds = Number(entry, "roundTripMSEC");
    if (milliseconds > std::numeric_limits<std::uint32_t>::max()) {
      throw std::runtime_error("no time: " + std::to_string(milliseconds));
    }
    times.push_back({Text(entry, "ipAddress"), static_cast<std::uint32_t>(milliseconds)});
  }
  return times;
}

ServerState ReadQueryResult(const std::string& text) {
  const JsonNode result = ReadLenientJson(text);
  ServerState state;
  state.status = Text(result, "status");
  state.platform = Text(result, "platform");
  state.persistedIdPart1 = Text(result, "persistedIdPart1");
  state.persistedIdPart2 = Text(result, "persistedIdPart2");
  state.gameId = Text(result, "gameId");
  state.gameMode = Text(result, "gameMode");
  state.mapVariant = Number(result, "mapVariant");
  state.currentMap = Text(result, "currentMap");
  state.roundTime = Text(result, "roundTime");
  state.defaultRoundTimeMultiplier = Text(result, "defaultRoundTimeMultiplier");
  state.maxPlayers = Number(result, "maxPlayers");
  state.waitingPlayers = Number(result, "waitingPlayers");
  ReadModeSection(result, state);
  for (const JsonNode& node : result.Child("teamInfo").children) {
    Team team{Number(node, "faction"), {}};
    for (const JsonNode& player : node.Child("players").children) {
      team.players.push_back(ReadPlayer(player));
    }
    state.teams.push_back(std::move(team));
  }
  return state;
}

Json ToJson(const ServerState& state) {
  Json json = {{"status", state.status},
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
