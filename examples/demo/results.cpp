#include "examples/demo/results.h"

#include <nlohmann/json.hpp>
#include <sstream>

namespace demo {
namespace {

// Keeps the order of the text, which is that of the teams and players on the server.
using Json = nlohmann::ordered_json;

// A text as a JSON parser wants it between quotation marks.
std::string Escape(const std::string& text) {
  const std::string quoted = Json(text).dump();
  return quoted.substr(1, quoted.size() - 2);
}

// The launcher writes names and other texts as they came, without escaping anything, so a player
// called  The "Rock"  makes a text that no JSON parser accepts. Every value is on a line of its
// own, though, so the text of a line is what lies between the quotation mark behind its key and the
// last one. (Only a line feed inside of a name cannot be repaired.)
std::string WithEscapedTexts(const std::string& json) {
  const std::string beginOfText = "\": \"";
  std::string strict;
  std::istringstream lines(json);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t key = line.find(beginOfText);
    if (key != std::string::npos) {
      const std::size_t begin = key + beginOfText.size();
      const std::size_t end = line.rfind('"');
      if (end >= begin) line.replace(begin, end - begin, Escape(line.substr(begin, end - begin)));
    }
    strict += line + "\n";
  }
  return strict;
}

// {"tickets": 340, "ticketsMax": 400} as "tickets 340, ticketsMax 400"
std::string Summary(const Json& value) {
  if (!value.is_object()) return value.dump();
  std::string text;
  for (const auto& [key, inner] : value.items()) {
    text += (text.empty() ? "" : ", ") + key + " " + inner.dump();
  }
  return text;
}

std::vector<std::string> ReadModeLines(const Json& result) {
  // At most one of them is there.
  for (const char* const section :
       {"frontier", "killrace", "breach", "armsLadder", "seizeTheBanner", "vesselStrike"}) {
    const auto found = result.find(section);
    if (found == result.end()) continue;
    std::vector<std::string> lines;
    for (const auto& [key, value] : found->items()) lines.push_back(key + ": " + Summary(value));
    return lines;
  }
  return {};
}

}  // namespace

std::vector<PingTime> ReadPingResult(const std::string& json) {
  std::vector<PingTime> times;
  for (const Json& entry : Json::parse(WithEscapedTexts(json))) {
    times.push_back({entry.at("ipAddress"), entry.at("roundTripMSEC")});
  }
  return times;
}

ServerState ReadQueryResult(const std::string& json) {
  const Json result = Json::parse(WithEscapedTexts(json));
  ServerState state;
  state.status = result.at("status");
  state.gameMode = result.at("gameMode");
  state.currentMap = result.at("currentMap");
  state.roundTime = result.at("roundTime");
  state.maxPlayers = result.at("maxPlayers");
  state.waitingPlayers = result.at("waitingPlayers");
  state.modeLines = ReadModeLines(result);
  const Json& teams = result.at("teamInfo");
  state.teamCount = teams.size();
  for (const auto& [team, teamInfo] : teams.items()) {
    for (const Json& player : teamInfo.at("players")) {
      state.players.push_back({team, player.at("name"), player.at("tag"), player.at("rank"),
                               player.at("score"), player.at("kills"), player.at("deaths")});
    }
  }
  return state;
}

}  // namespace demo
