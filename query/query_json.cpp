#include "query/query_json.h"

#include <cstddef>
#include <string_view>

#include "core/wide_writer.h"

namespace launcher {
namespace {

using namespace std::string_view_literals;

// Closes an entry of a list whose entries are indented by eight.
std::wstring_view EntryClose(bool last) { return last ? L"        }\n"sv : L"        },\n"sv; }

void WriteHeader(WideWriter& json, const QueryResult& result) {
  json << L"  \"status\": \"" << StatusText(result.status) << L"\", \n"
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
void WriteTeamScores(WideWriter& json, std::wstring_view opening, std::wstring_view closing,
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

void WriteFrontier(WideWriter& json, const TeamScores<FrontierScore>& scores) {
  WriteTeamScores(json, L"  \"frontier\": \n", L"    },\n", scores,
                  [&](const FrontierScore& score) {
                    json << L"          \"tickets\": " << score.tickets
                         << L",\n          \"ticketsMax\": " << score.ticketsMax << L"\n";
                  });
}

void WriteKillrace(WideWriter& json, const TeamScores<KillraceScore>& scores) {
  WriteTeamScores(json, L"  \"killrace\": \n", L"  },\n", scores, [&](const KillraceScore& score) {
    json << L"          \"kills\": " << score.kills << L",\n          \"killsMax\": "
         << score.killsMax << L"\n";
  });
}

void WriteBreach(WideWriter& json, const BreachState& breach) {
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

void WriteArmsLadder(WideWriter& json, const QueryResult& result) {
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
         << (--left == 0 ? L"\n"sv : L",\n"sv);
  }
  json << L"    }\n"
          L"  },\n";
}

void WriteSeizeTheBanner(WideWriter& json, const TeamScores<SeizeTheBannerScore>& scores) {
  WriteTeamScores(json, L"  \"seizeTheBanner\": \n", L"    },\n", scores,
                  [&](const SeizeTheBannerScore& score) {
                    json << L"          \"flags\": " << score.flags
                         << L",\n          \"flagsMax\": " << score.flagsMax
                         << L",\n\t\t  \"roundTimeMax\": " << score.roundTimeMax << L"\n";
                  });
}

void WriteVesselStrike(WideWriter& json, const TeamScores<VesselStrikeScore>& scores) {
  WriteTeamScores(json, L"  \"vesselStrike\": \n", L"    },\n", scores,
                  [&](const VesselStrikeScore& score) {
                    json << L"          \"explodedCrates\": " << score.explodedCrates
                         << L",\n          \"vesselHealth\": " << score.vesselHealth << L"\n";
                  });
}

// At most one section: the first that holds data.
void WriteModeSection(WideWriter& json, const QueryResult& result) {
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

void WritePlayer(WideWriter& json, const PlayerRecord& player, bool last) {
  json << L"        \"" << player.playerId << L"\":\n        {\n          \"name\": \""
       << player.name << L"\",\n          \"tag\": \"" << player.tag << L"\",\n          \"rank\": "
       << player.rank << L",\n          \"score\": " << player.score << L",\n          \"kills\": "
       << player.kills << L",\n          \"deaths\": " << player.deaths
       << L",\n          \"squad\": " << player.squad << L",\n          \"role\": " << player.role
       << L" \n"
       << EntryClose(last);
}

void WriteTeams(WideWriter& json, const std::vector<TeamRecord>& teams) {
  json << L"  \"teamInfo\": \n  {\n";
  for (std::size_t index = 0; index < teams.size(); ++index) {
    const TeamRecord& team = teams[index];
    json << L"    \"" << index << L"\":\n    {\n      \"faction\": " << team.faction
         << L",\n      \"players\":  \n      {\n";
    std::size_t left = team.players.size();
    for (const PlayerRecord& player : team.players) WritePlayer(json, player, --left == 0);
    json << L"      }\n" << (index + 1 == teams.size() ? L"    }\n"sv : L"    },\n"sv);
  }
  json << L"  }\n";
}

void WriteResult(WideWriter& json, const QueryResult& result) {
  json << L"{\n";
  WriteHeader(json, result);
  WriteModeSection(json, result);
  WriteTeams(json, result.teams);
  json << L"}\n";
}

// Enough for nearly every result: 201 characters of a player are the same for all.
std::size_t UsualLength(const QueryResult& result) {
  constexpr std::size_t kPlayerLength = 256;
  constexpr std::size_t kRestLength = 1024;
  std::size_t players = 0;
  for (const TeamRecord& team : result.teams) players += team.players.size();
  return kRestLength + kPlayerLength * players;
}

}  // namespace

EventPtr MakeQueryEvent(const EventFields& fields, const QueryResult& result) {
  constexpr std::size_t kJsonArgument = 1;
  std::size_t room = UsualLength(result);
  for (;;) {
    wchar_t* text = nullptr;
    EventPtr event = EventInfo::CreateWithRoom(fields, kJsonArgument, room, text);
    WideWriter json(text, room);
    WriteResult(json, result);
    if (json.Length() <= room) {
      text[json.Length()] = L'\0';
      return event;
    }
    room = json.Length();
  }
}

}  // namespace launcher
