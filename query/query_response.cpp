#include "query/query_response.h"

#include <cstddef>
#include <string>
#include <string_view>

#include "core/log.h"
#include "core/text.h"
#include "query/game_mode.h"

namespace launcher {
namespace {

constexpr wchar_t kLabel[] = L"AppLauncher::QueryParseResponse";

constexpr std::uint8_t kOldestVersion = 3;
constexpr std::uint8_t kNewestVersion = 10;
// What the log line names as the newest. Version 10 came later and is accepted all the same; tools
// know the line as it is.
constexpr std::uint8_t kNewestVersionInLog = 9;

// The versions from which on a field is on the wire.
constexpr std::uint8_t kVersionWithServerState = 4;
constexpr std::uint8_t kVersionWithWideRankAndRole = 8;
constexpr std::uint8_t kVersionWithPlatform = 9;

// What a server of version 3 counts as, and the state in which the round fields are sent.
constexpr std::uint8_t kDefaultServerState = 1;
constexpr std::uint8_t kServerStateInRound = 3;

// The role of players whose server does not send roles.
constexpr std::uint8_t kDefaultRole = 1;

// A team count byte from here on means that there are no teams.
constexpr std::uint8_t kNoTeams = 128;

// Bytes of one entry in the sections that are lists of entries.
constexpr std::size_t kFrontierEntrySize = 5;
constexpr std::size_t kKillraceEntrySize = 5;
constexpr std::size_t kSeizeTheBannerEntrySize = 7;
constexpr std::size_t kVesselStrikeEntrySize = 4;

std::wstring ReadText(NetMessage& message) { return Utf8ToWide(std::string(message.ReadString())); }

std::wstring_view ReadText(NetMessage& message, TextArena& texts) {
  return texts.Keep(Utf8ToWide(message.ReadString(), texts.Free()));
}

// Reads whole entries only. The bytes that are left of a section whose length is no multiple of the
// entry size stay in the stream and are read as the start of the map's name: servers send them so.
template <typename Score, typename ReadScore>
void ReadTeamScores(NetMessage& message, std::size_t sectionLength, std::size_t entrySize,
                    TeamScores<Score>& scores, const ReadScore& readScore) {
  for (std::size_t i = 0; i < sectionLength / entrySize; ++i) {
    const std::uint8_t team = message.ReadByte();
    // Read before the entry is made: an entry that is cut short must not appear.
    const Score score = readScore();
    scores[team] = score;
  }
}

// Reads its fixed layout whatever the section's length says.
void ReadBreach(NetMessage& message, BreachState& breach) {
  breach.attackersTeam = message.ReadByte();
  breach.defendersTeam = message.ReadByte();
  breach.tickets = message.Read16();
  breach.ticketsMax = message.Read16();
  breach.bases = message.ReadByte();
  breach.basesMax = message.ReadByte();
}

// Reads as many entries as it announces, whatever the section's length says.
void ReadArmsLadder(NetMessage& message, QueryResult& result) {
  result.maxArmsLadderLevel = message.ReadByte();
  const std::size_t count = message.ReadByte();
  for (std::size_t i = 0; i < count; ++i) {
    ArmsLadderPlayer player;
    player.playerId = message.Read64();
    player.level = message.ReadByte();
    result.armsLadderPlayers.push_back(player);
  }
}

void SkipUnknownSection(NetMessage& message, std::size_t sectionLength, QueryResult& result) {
  LogLine(L"%s: UNKNOWN_GAME_MODE: %s\n", kLabel, result.gameMode.c_str());
  // No host ever sees it: the end of decoding sets "SUCCESS" over it, a response that is cut short
  // "ERROR_MARSHALLING_EXCEPTION". The line is all that an unknown mode leaves.
  result.status = QueryStatus::kUnknownGameMode;
  for (std::size_t i = 0; i < sectionLength; ++i) message.ReadByte();
}

void ReadModeSection(NetMessage& message, std::size_t sectionLength, QueryResult& result) {
  switch (ClassifyGameMode(result.gameMode)) {
    case GameModeKind::kFrontier:
      ReadTeamScores(message, sectionLength, kFrontierEntrySize, result.frontierScores, [&] {
        FrontierScore score;
        score.tickets = message.Read16();
        score.ticketsMax = message.Read16();
        return score;
      });
      break;
    case GameModeKind::kBreach:
      ReadBreach(message, result.breach);
      break;
    case GameModeKind::kKillrace:
      ReadTeamScores(message, sectionLength, kKillraceEntrySize, result.killraceScores, [&] {
        KillraceScore score;
        score.kills = message.Read16();
        score.killsMax = message.Read16();
        return score;
      });
      break;
    case GameModeKind::kArmsLadder:
      ReadArmsLadder(message, result);
      break;
    case GameModeKind::kSeizeTheBanner:
      ReadTeamScores(message, sectionLength, kSeizeTheBannerEntrySize, result.seizeTheBannerScores,
                     [&] {
                       SeizeTheBannerScore score;
                       score.flags = message.Read16();
                       score.flagsMax = message.Read16();
                       score.roundTimeMax = message.Read16();
                       return score;
                     });
      break;
    case GameModeKind::kVesselStrike:
      ReadTeamScores(message, sectionLength, kVesselStrikeEntrySize, result.vesselStrikeScores,
                     [&] {
                       VesselStrikeScore score;
                       score.explodedCrates = message.ReadByte();
                       score.vesselHealth = message.Read16();
                       return score;
                     });
      break;
    case GameModeKind::kUnknown:
      SkipUnknownSection(message, sectionLength, result);
      break;
  }
}

// Returns the state of the server.
std::uint8_t ReadHeader(NetMessage& message, std::uint8_t version, QueryResult& result) {
  const std::uint8_t serverState =
      version >= kVersionWithServerState ? message.ReadByte() : kDefaultServerState;
  if (version >= kVersionWithPlatform) {
    result.platform = message.ReadByte();
    result.persistedIdPart1 = message.Read64();
    result.persistedIdPart2 = message.Read64();
  }
  result.gameId = message.Read64();
  result.gameMode = ReadText(message);
  result.mapVariant = message.ReadByte();
  return serverState;
}

void ReadMapAndRound(NetMessage& message, std::uint8_t serverState, QueryResult& result) {
  result.currentMap = ReadText(message);
  if (serverState == kServerStateInRound) {
    result.roundTime = message.Read32();
    result.defaultRoundTimeMultiplier = message.Read32();
  }
  result.maxPlayers = message.ReadByte();
  result.waitingPlayers = message.ReadByte();
}

void ReadTeams(NetMessage& message, std::vector<TeamRecord>& teams) {
  const std::uint8_t teamCountByte = message.ReadByte();
  const std::size_t teamCount = teamCountByte < kNoTeams ? teamCountByte + 1U : 0U;
  for (std::size_t i = 0; i < teamCount; ++i) {
    const std::uint8_t playerCount = message.ReadByte();
    teams.emplace_back().playerCount = playerCount;
  }
  for (std::size_t i = 1; i < teamCount; ++i) teams[i].faction = message.ReadByte();
}

PlayerRecord ReadPlayer(NetMessage& message, std::uint8_t version, TextArena& texts) {
  const bool hasWideRankAndRole = version >= kVersionWithWideRankAndRole;
  PlayerRecord player;
  player.playerId = message.Read64();
  player.name = ReadText(message, texts);
  player.tag = ReadText(message, texts);
  player.rank = hasWideRankAndRole ? message.Read16() : message.ReadByte();
  player.score = message.Read32();
  player.kills = message.Read16();
  player.deaths = message.Read16();
  player.squad = message.ReadByte();
  player.role = hasWideRankAndRole ? message.ReadByte() : kDefaultRole;
  return player;
}

}  // namespace

void QueryParseResponse(QueryResult& result, NetMessage& message) {
  const std::uint8_t version = message.ReadByte();
  if (version < kOldestVersion || version > kNewestVersion) {
    LogLine(L"%s: Query response has unexpected protocol version of %02x (expected %02x - %02x)\n",
            kLabel, version, kOldestVersion, kNewestVersionInLog);
    result.status = QueryStatus::kProtocolVersion;
    return;
  }
  const std::uint8_t serverState = ReadHeader(message, version, result);
  const std::size_t sectionLength = message.ReadByte();
  result.breach.basesMax = 0;
  result.maxArmsLadderLevel = 0;
  if (sectionLength > 0) ReadModeSection(message, sectionLength, result);
  ReadMapAndRound(message, serverState, result);
  ReadTeams(message, result.teams);
  // No text takes more characters than bytes on the wire.
  result.texts.Reserve(WideCapacity(message.Size() - message.Cursor()));
  for (std::size_t team = 0; team < result.teams.size(); ++team) {
    TeamRecord& record = result.teams[team];
    record.players.reserve(record.playerCount);
    for (std::size_t i = 0; i < record.playerCount; ++i) {
      record.players.push_back(ReadPlayer(message, version, result.texts));
    }
    if (record.players.size() != record.playerCount) {
      LogLine(
          L"%s: Marshalling error, number of players in team %d doesn't match number of players "
          L"parsed (%d != %d)\n",
          kLabel, static_cast<int>(team), static_cast<int>(record.playerCount),
          static_cast<int>(record.players.size()));
      result.status = QueryStatus::kTeamsAndPlayers;
      return;
    }
  }
  result.status = QueryStatus::kSuccess;
}

}  // namespace launcher
