// Texts of a game server that imitate the lines of the result that they are written into. What a
// host reads from the result is what the server sent, or the result is marked.
#ifndef LAUNCHER_FUZZ_SERVER_TEXTS_PROPERTY_H_
#define LAUNCHER_FUZZ_SERVER_TEXTS_PROPERTY_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "core/text.h"
#include "fuzz/property.h"
#include "fuzz/query_response_property.h"
#include "hosts/common/results.h"
#include "query/query_result.h"

namespace fuzz {

/// What the launcher writes between two values, whole and in parts.
inline constexpr std::array<std::string_view, 14> kImitations{
    "\",\n          \"tag\": \"",
    "\",\n          \"rank\": 1,\n          \"score\": 2,\n          \"kills\": 3,\n"
    "          \"deaths\": 4,\n          \"squad\": 5,\n          \"role\": 6 \n        }",
    ",\n        \"7\":\n        {\n          \"name\": \"",
    "\n      }\n    }",
    ",\n    \"1\":\n    {\n      \"faction\": 1,\n      \"players\":  \n      {\n"
    "        \"8\":\n        {\n          \"name\": \"",
    "\n  }\n}\n",
    "\", \n  \"mapVariant\": 9,\n  \"currentMap\": \"",
    "\", \n  \"roundTime\": \"10\", \n  \"defaultRoundTimeMultiplier\": \"11\", \n"
    "  \"maxPlayers\": 12,\n  \"waitingPlayers\": 13,\n  \"teamInfo\": \n  {\n",
    "\n",
    "\",",
    "\", ",
    "          \"name\": \"",
    "        },",
    "Aldo",
};

/// At most as long as a server can send one.
inline std::string ReadImitation(Input& input) {
  constexpr std::size_t kLongest = 255;
  constexpr std::size_t kMostPieces = 8;
  std::string text;
  for (std::size_t left = input.Byte() % (kMostPieces + 1); left > 0; --left) {
    const std::size_t piece = input.Byte();
    if (piece < kImitations.size()) {
      text += kImitations[piece];
    } else {
      text += input.Text(piece - kImitations.size());
    }
  }
  if (text.size() > kLongest) text.resize(kLongest);
  return text;
}

inline launcher::QueryResult ReadServer(Input& input, std::deque<std::wstring>& texts) {
  constexpr std::size_t kMostTeams = 4;
  constexpr std::size_t kMostPlayers = 5;
  const auto text = [&]() -> const std::wstring& {
    return texts.emplace_back(launcher::Utf8ToWide(ReadImitation(input)));
  };
  launcher::QueryResult result;
  result.status = launcher::QueryStatus::kSuccess;
  result.gameMode = text();
  result.currentMap = text();
  if (const std::uint8_t tickets = input.Byte(); tickets > 0) {
    result.frontierScores[1].tickets = tickets;
  }
  result.teams.resize(input.Byte() % kMostTeams);
  for (launcher::TeamRecord& team : result.teams) {
    team.players.resize(input.Byte() % kMostPlayers);
    for (launcher::PlayerRecord& player : team.players) {
      player.playerId = input.Byte();
      player.name = text();
      player.tag = text();
      player.score = input.Byte();
    }
  }
  return result;
}

inline bool IsSame(const host::Player& read, const launcher::PlayerRecord& sent) {
  return read.playerId == std::to_string(sent.playerId) &&
         read.name == launcher::WideToUtf8(std::wstring(sent.name)) &&
         read.tag == launcher::WideToUtf8(std::wstring(sent.tag)) && read.rank == sent.rank &&
         read.score == sent.score && read.kills == sent.kills && read.deaths == sent.deaths &&
         read.squad == sent.squad && read.role == sent.role;
}

inline bool IsSame(const host::Team& read, const launcher::TeamRecord& sent) {
  return read.faction == sent.faction &&
         std::equal(read.players.begin(), read.players.end(), sent.players.begin(),
                    sent.players.end(), [](const auto& a, const auto& b) { return IsSame(a, b); });
}

inline bool IsSame(const host::ServerState& read, const launcher::QueryResult& sent) {
  return read.status == "SUCCESS" && read.gameMode == launcher::WideToUtf8(sent.gameMode) &&
         read.currentMap == launcher::WideToUtf8(sent.currentMap) &&
         read.maxPlayers == sent.maxPlayers && read.waitingPlayers == sent.waitingPlayers &&
         read.modeRows.size() == sent.frontierScores.size() &&
         std::equal(read.teams.begin(), read.teams.end(), sent.teams.begin(), sent.teams.end(),
                    [](const auto& a, const auto& b) { return IsSame(a, b); });
}

inline bool HasLineEnd(std::string_view text) { return text.find('\n') != std::string_view::npos; }

inline bool ShowsLineEnd(const host::ServerState& read) {
  return HasLineEnd(read.gameMode) || HasLineEnd(read.currentMap) ||
         std::any_of(read.teams.begin(), read.teams.end(), [](const host::Team& team) {
           return std::any_of(team.players.begin(), team.players.end(), [](const auto& player) {
             return HasLineEnd(player.name) || HasLineEnd(player.tag);
           });
         });
}

inline void CheckServerTexts(ByteSpan data) {
  Input input(data);
  std::deque<std::wstring> texts;
  const launcher::QueryResult sent = ReadServer(input, texts);
  const host::ServerState read = host::ReadQueryResult(launcher::WideToUtf8(QueryJson(sent)));

  const bool isHonest = std::none_of(texts.begin(), texts.end(), [](const std::wstring& text) {
    return text.find(L'\n') != text.npos;
  });
  Require(!read.suspicious || !read.ambiguous, "there is one mark at most");
  if (isHonest) Require(!read.suspicious, "an honest server is not suspicious");
  if (isHonest || (!read.suspicious && !read.ambiguous)) {
    Require(IsSame(read, sent), "what the server sent comes out, or the result is marked");
  }
  Require(!ShowsLineEnd(read), "no text with a line end comes out");
}

}  // namespace fuzz

#endif  // LAUNCHER_FUZZ_SERVER_TEXTS_PROPERTY_H_
