/// The formats that a game server speaks with the launcher; a second implementation like
/// kit/wire.h. No Windows header, no input or output.
#ifndef LAUNCHER_KIT_QUERY_WIRE_H_
#define LAUNCHER_KIT_QUERY_WIRE_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kit/wire.h"

namespace kit {

// The query of a game server over UDP. Big-endian:
//   challenge request, 15 bytes:  0 FF FF FF FF   4 "QP_"   7 u64 game id
//   query request, 19 bytes:      the same, then 15 u32 challenge id

struct QueryDatagram {
  std::uint64_t gameId = 0;
  std::optional<std::uint32_t> challengeId;  // a query request when present
};

/// Nothing for a datagram that is neither of the two requests.
inline std::optional<QueryDatagram> ParseQueryDatagram(const Bytes& datagram) {
  constexpr std::size_t kChallengeRequestSize = 15;
  constexpr std::size_t kQueryRequestSize = 19;
  constexpr std::array<std::uint8_t, 7> kHeader{0xFF, 0xFF, 0xFF, 0xFF, 'Q', 'P', '_'};
  if (datagram.size() != kChallengeRequestSize && datagram.size() != kQueryRequestSize) {
    return std::nullopt;
  }
  if (!std::equal(kHeader.begin(), kHeader.end(), datagram.begin())) return std::nullopt;
  QueryDatagram query;
  for (std::size_t i = kHeader.size(); i < kChallengeRequestSize; ++i) {
    query.gameId = query.gameId << 8 | datagram[i];
  }
  if (datagram.size() == kQueryRequestSize) {
    std::uint32_t challengeId = 0;
    for (std::size_t i = kChallengeRequestSize; i < kQueryRequestSize; ++i) {
      challengeId = challengeId << 8 | datagram[i];
    }
    query.challengeId = challengeId;
  }
  return query;
}

/// Appends big-endian numbers and length-prefixed texts.
class BigEndianWriter {
 public:
  void U8(std::uint64_t value) { Number(value, 1); }
  void U16(std::uint64_t value) { Number(value, 2); }
  void U32(std::uint64_t value) { Number(value, 4); }
  void U64(std::uint64_t value) { Number(value, 8); }

  /// One length byte and the bytes. Throws std::length_error beyond 255 bytes.
  void Text(const std::string& text) {
    constexpr std::size_t kMaxText = 0xFF;
    if (text.size() > kMaxText) throw std::length_error("text longer than 255 bytes: " + text);
    U8(text.size());
    Raw(Bytes(text.begin(), text.end()));
  }

  void Raw(const Bytes& raw) { bytes.insert(bytes.end(), raw.begin(), raw.end()); }

  Bytes bytes;

 private:
  void Number(std::uint64_t value, unsigned int width) {
    for (unsigned int byte = width; byte > 0; --byte) {
      bytes.push_back(static_cast<std::uint8_t>(value >> (8 * (byte - 1))));
    }
  }
};

/// The request, with a challenge id the query, without one the challenge.
inline Bytes EncodeQueryDatagram(const QueryDatagram& query) {
  BigEndianWriter writer;
  writer.U32(0xFFFFFFFF);
  for (const char c : {'Q', 'P', '_'}) writer.U8(static_cast<std::uint8_t>(c));
  writer.U64(query.gameId);
  if (query.challengeId) writer.U32(*query.challengeId);
  return writer.bytes;
}

/// A challenge response of exactly 12 bytes carries the id in its last four bytes, one of any other
/// length in its first four.
inline Bytes EncodeChallengeResponse(std::uint32_t challengeId, std::size_t length) {
  constexpr std::size_t kLongForm = 12;
  constexpr std::size_t kIdOffsetInLongForm = 8;
  BigEndianWriter writer;
  if (length == kLongForm) {
    writer.U32(0xFFFFFFFF);
    writer.bytes.resize(kIdOffsetInLongForm, 0);
  }
  writer.U32(challengeId);
  writer.bytes.resize(length, 0);
  return writer.bytes;
}

struct Player {
  std::uint64_t playerId = 0;
  std::string name;
  std::string tag;
  std::uint16_t rank = 0;
  std::uint32_t score = 0;
  std::uint16_t kills = 0;
  std::uint16_t deaths = 0;
  std::uint8_t squad = 0;
  std::uint8_t role = 0;
};

struct Team {
  std::uint8_t faction = 0;  // not on the wire for the first team
  std::vector<Player> players;
};

inline constexpr std::uint8_t kServerStateInRound = 3;  // the state whose answer has round times
inline constexpr std::size_t kMaxTeams = 128;

/// The state that a game server reports.
struct ServerReport {
  std::uint8_t version = 10;  // of the protocol, 3 to 10
  std::uint8_t serverState = kServerStateInRound;
  std::uint8_t platform = 0;
  std::uint64_t persistedIdPart1 = 0;
  std::uint64_t persistedIdPart2 = 0;
  std::uint64_t gameId = 0;
  std::string gameMode;
  std::uint8_t mapVariant = 0;
  Bytes modeSection;  // at most 255 bytes; see SampleModeSection
  std::string currentMap;
  std::uint32_t roundTime = 0;
  std::uint32_t defaultRoundTimeMultiplier = 0;
  std::uint8_t maxPlayers = 0;
  std::uint8_t waitingPlayers = 0;
  std::vector<Team> teams;
};

inline Bytes EncodeQueryResponse(const ServerReport& report) {
  constexpr std::uint8_t kFirstVersionWithState = 4;
  constexpr std::uint8_t kFirstVersionWithRole = 8;
  constexpr std::uint8_t kFirstVersionWithPlatform = 9;
  constexpr std::uint8_t kNoTeams = 0x80;
  if (report.modeSection.size() > 0xFF) throw std::length_error("mode section over 255 bytes");
  if (report.teams.size() > kMaxTeams) throw std::length_error("more than 128 teams");
  BigEndianWriter writer;
  writer.U8(report.version);
  if (report.version >= kFirstVersionWithState) writer.U8(report.serverState);
  if (report.version >= kFirstVersionWithPlatform) {
    writer.U8(report.platform);
    writer.U64(report.persistedIdPart1);
    writer.U64(report.persistedIdPart2);
  }
  writer.U64(report.gameId);
  writer.Text(report.gameMode);
  writer.U8(report.mapVariant);
  writer.U8(report.modeSection.size());
  writer.Raw(report.modeSection);
  writer.Text(report.currentMap);
  if (report.version >= kFirstVersionWithState && report.serverState == kServerStateInRound) {
    writer.U32(report.roundTime);
    writer.U32(report.defaultRoundTimeMultiplier);
  }
  writer.U8(report.maxPlayers);
  writer.U8(report.waitingPlayers);
  writer.U8(report.teams.empty() ? kNoTeams : report.teams.size() - 1);
  for (const Team& team : report.teams) {
    if (team.players.size() > 0xFF) throw std::length_error("more than 255 players in a team");
    writer.U8(team.players.size());
  }
  for (std::size_t i = 1; i < report.teams.size(); ++i) writer.U8(report.teams[i].faction);
  for (const Team& team : report.teams) {
    for (const Player& player : team.players) {
      writer.U64(player.playerId);
      writer.Text(player.name);
      writer.Text(player.tag);
      if (report.version >= kFirstVersionWithRole) {
        writer.U16(player.rank);
      } else {
        writer.U8(player.rank);
      }
      writer.U32(player.score);
      writer.U16(player.kills);
      writer.U16(player.deaths);
      writer.U8(player.squad);
      if (report.version >= kFirstVersionWithRole) writer.U8(player.role);
    }
  }
  return writer.bytes;
}

/// A plausible section for `gameMode` with `teamCount` teams (numbered from 1) and the first
/// players of the report; empty for a mode that has no section.
inline Bytes SampleModeSection(const std::string& gameMode, const std::vector<Team>& teams) {
  const auto isOneOf = [&gameMode](std::initializer_list<std::string_view> names) {
    return std::any_of(names.begin(), names.end(), [&gameMode](std::string_view name) {
      return gameMode.find(name) != std::string::npos;
    });
  };
  constexpr std::size_t kMaxTeamEntries = 32;  // seven bytes each stay below 255
  const std::size_t teamCount = std::min(teams.size(), kMaxTeamEntries);
  BigEndianWriter section;
  if (isOneOf({"Frontier", "Foothold", "ArmorControl", "SkyControl", "Salvager", "Demolition",
               "Linkline"})) {
    for (std::size_t team = 1; team <= teamCount; ++team) {
      section.U8(team);
      section.U16(400 - 60 * (team % 6));  // tickets
      section.U16(400);                    // tickets at the start
    }
  } else if (isOneOf({"Breach", "Lastcrew"})) {
    section.U8(1);    // attackers
    section.U8(2);    // defenders
    section.U16(75);  // tickets
    section.U16(100);
    section.U8(2);  // bases
    section.U8(4);
  } else if (isOneOf({"KillRace", "Killrace"})) {
    for (std::size_t team = 1; team <= teamCount; ++team) {
      section.U8(team);
      section.U16(20 + 11 * (team % 6));  // kills
      section.U16(100);                   // kills to win
    }
  } else if (isOneOf({"ArmsLadder"})) {
    constexpr std::size_t kMaxLadderEntries = 28;  // nine bytes each and two before stay below 255
    BigEndianWriter levels;
    std::size_t count = 0;
    for (const Team& team : teams) {
      for (const Player& player : team.players) {
        if (count == kMaxLadderEntries) break;
        levels.U64(player.playerId);
        levels.U8(1 + count % 20);
        ++count;
      }
    }
    section.U8(20);  // highest level
    section.U8(count);
    section.Raw(levels.bytes);
  } else if (isOneOf({"SeizeTheBanner"})) {
    for (std::size_t team = 1; team <= teamCount; ++team) {
      section.U8(team);
      section.U16(team % 3);  // flags
      section.U16(3);
      section.U16(1200);  // longest round, seconds
    }
  } else if (isOneOf({"VesselStrike"})) {
    for (std::size_t team = 1; team <= teamCount; ++team) {
      section.U8(team);
      section.U8(team % 4);                 // exploded crates
      section.U16(900 - 100 * (team % 6));  // vessel health
    }
  }
  return section.bytes;
}

}  // namespace kit

#endif  // LAUNCHER_KIT_QUERY_WIRE_H_
