#include "query/query_json.h"

#include <cstddef>
#include <string_view>

namespace launcher {
namespace {

// Lengths of the fixed texts and usual numbers, rounded up, so that most results need memory once.
// The players make up most of the text and are counted exactly: a block that is much too large is
// dear where the system is asked for it.
constexpr std::size_t kHeaderLength = 1024;
constexpr std::size_t kTeamLength = 128;
constexpr std::size_t kEntryLength = 128;

// What a player takes at most, the texts left out: 201 characters of fixed text, and the digits of
// one number of 64 bits, one of 32, three of 16 and two of 8.
constexpr std::size_t kPlayerLength = 201 + WideWriter::kMaxDigits + 10 + 15 + 6;

std::size_t MaxLength(const PlayerRecord& player) {
  return kPlayerLength + player.name.size() + player.tag.size();
}

// Closes an entry of a list whose entries are indented by eight.
std::wstring_view EntryClose(bool last) {
  return last ? std::wstring_view(L"        }\n", 10) : std::wstring_view(L"        },\n", 11);
}

void WriteHeader(WideAppender& json, const QueryResult& result) {
  json << L"  \"status\": \"" << result.status << L"\", \n"
       << L"  \"platform\": \"" << result.platform << L"\", \n"
       << L"  \"persistedIdPart1\": \"" << result.persistedIdPart1 << L"\", \n"
       << L"  \"persistedIdPart2\": \"" << result.persistedIdPart2 << L"\", \n"
       << L"  \"gameId\": \"" << result.gameId << L"\", \n"
       << L"  \"gameMode\": \"" << result.gameMode << L"\", \n"
       << L"  \"mapVariant\": " << result.mapVariant << L",\n"
       << L"  \"currentMap\": \"" << result.currentMap << L"\", \n"
       << L"  \"roundTime\": \"" << result.roundTime << L"\", \n"
       << L"  \"defaultRoundTimeMultiplier\": \"" << result.defaultRoundTimeMultiplier << L"\", \n"
       << L"  \"maxPlayers\": " << result.maxPlayers << L",\n"
       << L"  \"waitingPlayers\": " << result.waitingPlayers << L",\n";
}

// A section whose entries are the teams' scores. `opening` is its first line, `closing` its last.
template <typename Score, typename WriteScore>
void WriteTeamScores(WideAppender& json, std::wstring_view opening, std::wstring_view closing,
                     const TeamScores<Score>& scores, const WriteScore& writeScore) {
  json << opening << L"  {\n";
  std::size_t left = scores.size();
  for (const auto& [team, score] : scores) {
    json << L"    \"" << team << L"\":\n    {\n";
    writeScore(score);
    json << EntryClose(--left == 0);
  }
  json << closing;
}

void WriteFrontier(WideAppender& json, const TeamScores<FrontierScore>& scores) {
  WriteTeamScores(json, L"  \"frontier\": \n", L"    },\n", scores,
                  [&](const FrontierScore& score) {
                    json << L"          \"tickets\": " << score.tickets
                         << L",\n          \"ticketsMax\": " << score.ticketsMax << L"\n";
                  });
}

void WriteKillrace(WideAppender& json, const TeamScores<KillraceScore>& scores) {
  WriteTeamScores(json, L"  \"killrace\": \n", L"  },\n", scores, [&](const KillraceScore& score) {
    json << L"          \"kills\": " << score.kills << L",\n          \"killsMax\": "
         << score.killsMax << L"\n";
  });
}

void WriteBreach(WideAppender& json, const BreachState& breach) {
  json << L"  \"breach\": \n"
          L"  {\n"
          L"    \"attackers\": \n"
          L"    {\n"
          L"          \"team\": "
       << breach.attackersTeam << L",\n          \"tickets\": " << breach.tickets
       << L",\n          \"ticketsMax\": " << breach.ticketsMax
       << L"\n"
          L"    },\n"
          L"    \"defenders\": \n"
          L"    {\n"
          L"          \"team\": "
       << breach.defendersTeam << L",\n          \"bases\": " << breach.bases
       << L",\n          \"basesMax\": " << breach.basesMax
       << L"\n"
          L"    }\n"
          L"  },\n";
}

void WriteArmsLadder(WideAppender& json, const QueryResult& result) {
  json << L"  \"armsLadder\": \n"
          L"  {\n"
          L"    \"maxArmsLadderLevel\": "
       << result.maxArmsLadderLevel
       << L",\n"
          L"    \"players\": \n"
          L"    {\n";
  std::size_t left = result.armsLadderPlayers.size();
  for (const ArmsLadderPlayer& player : result.armsLadderPlayers) {
    json << L"        \"" << player.playerId << L"\":" << player.level
         << (--left == 0 ? L"\n" : L",\n");
  }
  json << L"    }\n"
          L"  },\n";
}

void WriteSeizeTheBanner(WideAppender& json, const TeamScores<SeizeTheBannerScore>& scores) {
  WriteTeamScores(json, L"  \"seizeTheBanner\": \n", L"    },\n", scores,
                  [&](const SeizeTheBannerScore& score) {
                    json << L"          \"flags\": " << score.flags
                         << L",\n          \"flagsMax\": " << score.flagsMax
                         << L",\n\t\t  \"roundTimeMax\": " << score.roundTimeMax << L"\n";
                  });
}

void WriteVesselStrike(WideAppender& json, const TeamScores<VesselStrikeScore>& scores) {
  WriteTeamScores(json, L"  \"vesselStrike\": \n", L"    },\n", scores,
                  [&](const VesselStrikeScore& score) {
                    json << L"          \"explodedCrates\": " << score.explodedCrates
                         << L",\n          \"vesselHealth\": " << score.vesselHealth << L"\n";
                  });
}

// At most one section: the first that holds data.
void WriteModeSection(WideAppender& json, const QueryResult& result) {
  if (!result.frontierScores.empty()) {
    WriteFrontier(json, result.frontierScores);
  } else if (!result.killraceScores.empty()) {
    WriteKillrace(json, result.killraceScores);
  } else if (result.breach.basesMax > 0) {
    WriteBreach(json, result.breach);
  } else if (result.maxArmsLadderLevel > 0) {
    WriteArmsLadder(json, result);
  } else if (!result.seizeTheBannerScores.empty()) {
    WriteSeizeTheBanner(json, result.seizeTheBannerScores);
  } else if (!result.vesselStrikeScores.empty()) {
    WriteVesselStrike(json, result.vesselStrikeScores);
  }
}

void WritePlayer(WideAppender& json, const PlayerRecord& player, bool last) {
  WideWriter out = json.Begin(MaxLength(player));
  out << L"        \"" << player.playerId << L"\":\n        {\n          \"name\": \""
      << player.name << L"\",\n          \"tag\": \"" << player.tag << L"\",\n          \"rank\": "
      << player.rank << L",\n          \"score\": " << player.score << L",\n          \"kills\": "
      << player.kills << L",\n          \"deaths\": " << player.deaths
      << L",\n          \"squad\": " << player.squad << L",\n          \"role\": " << player.role
      << L" \n"
      << EntryClose(last);
  json.End(out);
}

void WriteTeams(WideAppender& json, const std::vector<TeamRecord>& teams) {
  json << L"  \"teamInfo\": \n  {\n";
  for (std::size_t index = 0; index < teams.size(); ++index) {
    const TeamRecord& team = teams[index];
    json << L"    \"" << index << L"\":\n    {\n      \"faction\": " << team.faction
         << L",\n      \"players\":  \n      {\n";
    std::size_t left = team.players.size();
    for (const PlayerRecord& player : team.players) WritePlayer(json, player, --left == 0);
    json << L"      }\n" << (index + 1 == teams.size() ? L"    }\n" : L"    },\n");
  }
  json << L"  }\n";
}

std::size_t ExpectedLength(const QueryResult& result) {
  std::size_t length =
      kHeaderLength + kTeamLength * result.teams.size() +
      kEntryLength * (result.frontierScores.size() + result.killraceScores.size() +
                      result.seizeTheBannerScores.size() + result.vesselStrikeScores.size());
  for (const TeamRecord& team : result.teams) {
    for (const PlayerRecord& player : team.players) length += MaxLength(player);
  }
  return length;
}

}  // namespace

WideText BuildQueryJson(const QueryResult& result) {
  WideAppender json(ExpectedLength(result));
  json << L"{\n";
  WriteHeader(json, result);
  WriteModeSection(json, result);
  WriteTeams(json, result.teams);
  json << L"}\n";
  return json.Finish();
}

}  // namespace launcher
