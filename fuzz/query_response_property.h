// A game server's response and the JSON made of it. Whatever the server sends: decoding ends, the
// status is one of the named ones, the JSON has its shape, and a response that is cut short gives
// nothing that the whole one does not give.
#ifndef LAUNCHER_FUZZ_QUERY_RESPONSE_PROPERTY_H_
#define LAUNCHER_FUZZ_QUERY_RESPONSE_PROPERTY_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "fuzz/net_message_property.h"
#include "fuzz/property.h"
#include "query/query_json.h"
#include "query/query_response.h"

namespace fuzz {

struct DecodedResponse {
  launcher::QueryResult result;
  bool cutShort = false;
  std::size_t consumed = 0;
};

inline DecodedResponse DecodeResponse(ByteSpan response) {
  DecodedResponse decoded;
  auto message = launcher::NetMessage::MakeIncoming();
  FillIncoming(message, response);
  decoded.cutShort = !Succeeds([&] { launcher::QueryParseResponse(decoded.result, message); });
  decoded.consumed = message.Cursor();
  return decoded;
}

inline std::wstring QueryJson(const launcher::QueryResult& result) {
  return launcher::MakeQueryEvent({}, result)->GetArg1();
}

inline std::size_t CountPlayers(const launcher::QueryResult& result) {
  std::size_t count = 0;
  for (const auto& team : result.teams) count += team.players.size();
  return count;
}

inline std::size_t CountScores(const launcher::QueryResult& result) {
  return result.frontierScores.size() + result.killraceScores.size() +
         result.armsLadderPlayers.size() + result.seizeTheBannerScores.size() +
         result.vesselStrikeScores.size();
}

/// What servers can put between quotes must not look like the JSON's own shape. `texts` keeps the
/// replaced texts.
inline void ReplaceBraces(launcher::QueryResult& result, std::deque<std::wstring>& texts) {
  const auto withoutBraces = [&texts](std::wstring_view text) -> const std::wstring& {
    std::wstring& replaced = texts.emplace_back(text);
    std::replace(replaced.begin(), replaced.end(), L'{', L'(');
    std::replace(replaced.begin(), replaced.end(), L'}', L')');
    return replaced;
  };
  result.gameMode = withoutBraces(result.gameMode);
  result.currentMap = withoutBraces(result.currentMap);
  for (auto& team : result.teams) {
    for (auto& player : team.players) {
      player.name = withoutBraces(player.name);
      player.tag = withoutBraces(player.tag);
    }
  }
}

inline std::size_t CountOccurrences(std::wstring_view text, std::wstring_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

inline void CheckBraces(std::wstring_view json) {
  long depth = 0;
  for (std::size_t i = 0; i < json.size(); ++i) {
    if (json[i] == L'{') ++depth;
    if (json[i] == L'}') --depth;
    Require(depth >= 0, "no brace is closed before it is opened");
    // One pair of braces around everything: after the last one comes a newline alone.
    Require(depth > 0 || i == 0 || json.substr(i) == L"}\n" || json.substr(i) == L"\n",
            "the outer brace is closed at the end alone");
  }
  Require(depth == 0, "the braces are balanced");
}

/// `result` holds no braces in its texts.
inline void CheckJsonShape(const launcher::QueryResult& result) {
  const std::wstring json = QueryJson(result);
  CheckBraces(json);

  constexpr std::wstring_view kHeaderLines[] = {
      L"{\n  \"status\": \"",
      L"\", \n  \"platform\": \"",
      L"\", \n  \"persistedIdPart1\": \"",
      L"\", \n  \"persistedIdPart2\": \"",
      L"\", \n  \"gameId\": \"",
      L"\", \n  \"gameMode\": \"",
      L"\", \n  \"mapVariant\": ",
      L",\n  \"currentMap\": \"",
      L"\", \n  \"roundTime\": \"",
      L"\", \n  \"defaultRoundTimeMultiplier\": \"",
      L"\", \n  \"maxPlayers\": ",
      L",\n  \"waitingPlayers\": ",
  };
  std::size_t position = 0;
  for (const std::wstring_view line : kHeaderLines) {
    position = json.find(line, position);
    Require(position != json.npos, "every line of the header is there, in order");
    position += line.size();
  }
  const std::wstring_view afterHeader = std::wstring_view(json).substr(position);
  const std::size_t teamPart = afterHeader.find(L"\n  \"teamInfo\": \n  {\n");
  Require(teamPart != afterHeader.npos, "the team part is there");
  Require(json.ends_with(L"  }\n}\n"), "the team part is the last");

  constexpr std::wstring_view kSections[] = {
      L"\n  \"frontier\": \n  {\n",       L"\n  \"killrace\": \n  {\n",
      L"\n  \"breach\": \n  {\n",         L"\n  \"armsLadder\": \n  {\n",
      L"\n  \"seizeTheBanner\": \n  {\n", L"\n  \"vesselStrike\": \n  {\n"};
  const std::wstring_view sectionPart = afterHeader.substr(0, teamPart + 1);
  std::size_t sections = 0;
  for (const std::wstring_view section : kSections) {
    sections += CountOccurrences(sectionPart, section);
  }
  const bool hasSection = !result.frontierScores.empty() || !result.killraceScores.empty() ||
                          result.breach.basesMax > 0 || result.maxArmsLadderLevel > 0 ||
                          !result.seizeTheBannerScores.empty() ||
                          !result.vesselStrikeScores.empty();
  Require(sections == (hasSection ? 1U : 0U), "a section that holds data is there, and no other");

  // Counted by lines that end in a brace, which no text can imitate any more.
  const std::wstring_view teams = afterHeader.substr(teamPart);
  Require(CountOccurrences(teams, L":\n    {\n") == result.teams.size(), "every team is there");
  Require(CountOccurrences(teams, L"\"players\":  \n      {\n") == result.teams.size(),
          "every team has its list of players");
  Require(CountOccurrences(teams, L":\n        {\n") == CountPlayers(result),
          "every player is there");
}

inline void CheckStatus(const DecodedResponse& decoded) {
  const launcher::QueryStatus status = decoded.result.status;
  if (decoded.cutShort) {
    Require(
        status == launcher::QueryStatus::kNone || status == launcher::QueryStatus::kUnknownGameMode,
        "a response that is cut short is no success");
  } else {
    Require(status == launcher::QueryStatus::kSuccess ||
                status == launcher::QueryStatus::kProtocolVersion,
            "the status is one of the named ones");
  }
}

inline void CheckCut(ByteSpan response, std::size_t length, const DecodedResponse& whole) {
  const DecodedResponse cut = DecodeResponse(response.first(length));
  CheckStatus(cut);
  Require(CountPlayers(cut.result) <= CountPlayers(whole.result) &&
              cut.result.teams.size() <= whole.result.teams.size() &&
              CountScores(cut.result) <= CountScores(whole.result),
          "a cut response gives no more than the whole one");
  if (!whole.cutShort && length >= whole.consumed) {
    Require(!cut.cutShort && QueryJson(cut.result) == QueryJson(whole.result),
            "bytes behind the response do not count");
  } else {
    Require(cut.cutShort, "a response that lacks a byte is noticed");
  }
}

/// The input is the datagram as it arrives.
inline void CheckQueryResponse(ByteSpan data) {
  const ByteSpan response = data.first(std::min(data.size(), launcher::NetMessage::kCapacity));
  DecodedResponse whole = DecodeResponse(response);
  Require(whole.consumed <= response.size(), "nothing behind the datagram is read");
  CheckStatus(whole);

  for (std::size_t length = response.size(); length > 0; length /= 2) {
    CheckCut(response, length - 1, whole);
  }
  if (!whole.cutShort) {
    CheckCut(response, whole.consumed, whole);
    CheckCut(response, whole.consumed - 1, whole);
  }

  if (whole.cutShort) whole.result.status = launcher::QueryStatus::kMarshallingException;
  std::deque<std::wstring> textsWithoutBraces;
  ReplaceBraces(whole.result, textsWithoutBraces);
  CheckJsonShape(whole.result);
}

}  // namespace fuzz

#endif  // LAUNCHER_FUZZ_QUERY_RESPONSE_PROPERTY_H_
