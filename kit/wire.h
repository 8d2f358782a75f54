/// The formats that a game, a game server and the helper program speak with the launcher, written
/// from the documents and not from the library: a second implementation, so that a mistake in one
/// of the two shows as soon as they meet. No Windows header, no state, no input or output.
#ifndef LAUNCHER_KIT_WIRE_H_
#define LAUNCHER_KIT_WIRE_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kit {

using Bytes = std::vector<std::uint8_t>;

// ---------------------------------------------------------------------------------------------
// Commands on a game's pipe. Little-endian:
//   0 "KE"   2 u16 length of the whole frame   4 u8 N   5 name (N bytes)
//   5+N u16 A   7+N arguments (A bytes)

struct Command {
  std::string name;
  std::string arguments;  // words separated by blanks
};

inline constexpr std::size_t kFrameOverhead = 7;
inline constexpr std::size_t kMaxCommandName = 0xFF;
inline constexpr std::size_t kMaxFrame = 0xFFFF;

/// Throws std::length_error for a command that the length fields cannot express.
inline Bytes EncodeFrame(const Command& command) {
  const std::size_t total = command.name.size() + command.arguments.size() + kFrameOverhead;
  if (command.name.size() > kMaxCommandName) throw std::length_error("command name too long");
  if (total > kMaxFrame) throw std::length_error("command too long for one frame");
  Bytes frame;
  frame.reserve(total);
  const auto putU16 = [&frame](std::size_t value) {
    frame.push_back(static_cast<std::uint8_t>(value & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(value >> 8));
  };
  frame.push_back('K');
  frame.push_back('E');
  putU16(total);
  frame.push_back(static_cast<std::uint8_t>(command.name.size()));
  frame.insert(frame.end(), command.name.begin(), command.name.end());
  putU16(command.arguments.size());
  frame.insert(frame.end(), command.arguments.begin(), command.arguments.end());
  return frame;
}

/// Collects what arrives on a pipe and hands out the commands in it. Stricter than the launcher:
/// the three length fields must agree.
class FrameReader {
 public:
  void Append(const std::uint8_t* data, std::size_t size) {
    received.insert(received.end(), data, data + size);
  }

  /// The next whole command, if there is one. Throws std::runtime_error when the bytes are no
  /// frame; nothing more can be read from that pipe then.
  std::optional<Command> Next() {
    if (received.size() < kFrameOverhead) return std::nullopt;
    if (received[0] != 'K' || received[1] != 'E') {
      throw std::runtime_error("a frame must begin with \"KE\"");
    }
    const std::size_t total = U16At(2);
    const std::size_t nameSize = received[4];
    if (total < nameSize + kFrameOverhead) {
      throw std::runtime_error("the name is longer than its frame");
    }
    if (received.size() < total) return std::nullopt;
    const std::size_t argumentsSize = U16At(5 + nameSize);
    if (total != nameSize + argumentsSize + kFrameOverhead) {
      throw std::runtime_error("the lengths inside a frame disagree with its total length");
    }
    const auto nameBegin = received.begin() + 5;
    const auto nameEnd = nameBegin + static_cast<std::ptrdiff_t>(nameSize);
    const auto frameEnd = received.begin() + static_cast<std::ptrdiff_t>(total);
    Command command{std::string(nameBegin, nameEnd), std::string(nameEnd + 2, frameEnd)};
    received.erase(received.begin(), frameEnd);
    return command;
  }

 private:
  std::size_t U16At(std::size_t offset) const {
    return static_cast<std::size_t>(received[offset] | received[offset + 1] << 8);
  }

  Bytes received;
};

// ---------------------------------------------------------------------------------------------
// The line of parameters that the launcher gives to the helper program: fields separated by "|",
// nothing quoted or escaped.

/// "YES|SW_SHOWNA|C:\game\ag4.exe|ag4.exe|C:\game\|-windowed"
struct LaunchRequest {
  bool flag = false;  // "YES" or "NO", the flag that the host gave to Launch
  std::wstring showMode;
  std::wstring binaryPath;  // or a link such as "ostrel://library"
  std::wstring binaryName;
  std::wstring workingDirectory;
  std::wstring commandLine;  // the rest of the line, further "|" included
};

/// "ICMP|500|\\.\pipe\{...}|10.0.0.1|10.0.0.2|"
struct PingRequest {
  unsigned int timeoutMilliseconds = 0;  // for each address
  std::wstring pipeName;
  std::vector<std::wstring> addresses;
};

/// Cuts `line` at its first `count` - 1 separators; the last field takes the rest.
inline std::vector<std::wstring> SplitFields(std::wstring_view line, std::size_t count) {
  std::vector<std::wstring> fields;
  while (fields.size() + 1 < count) {
    const std::size_t end = line.find(L'|');
    if (end == std::wstring_view::npos) break;
    fields.emplace_back(line.substr(0, end));
    line.remove_prefix(end + 1);
  }
  fields.emplace_back(line);
  return fields;
}

inline bool IsPingLine(std::wstring_view line) { return line.starts_with(L"ICMP|"); }

/// Throws std::invalid_argument, with what is wrong, for a line of another form.
inline LaunchRequest ParseLaunchLine(std::wstring_view line) {
  constexpr std::size_t kFields = 6;
  std::vector<std::wstring> fields = SplitFields(line, kFields);
  if (fields.size() != kFields) {
    throw std::invalid_argument("a launch line has six fields, this one has " +
                                std::to_string(fields.size()));
  }
  if (fields[0] != L"YES" && fields[0] != L"NO") {
    throw std::invalid_argument("a launch line begins with YES or NO");
  }
  if (fields[2].empty()) throw std::invalid_argument("the third field, the program, is empty");
  return {fields[0] == L"YES", fields[1], fields[2], fields[3], fields[4], fields[5]};
}

/// Throws std::invalid_argument, with what is wrong, for a line of another form.
inline PingRequest ParsePingLine(std::wstring_view line) {
  constexpr std::size_t kFieldsBeforeAddresses = 3;
  constexpr std::size_t kMaxTimeoutDigits = 6;
  if (!IsPingLine(line)) throw std::invalid_argument("a ping line begins with ICMP");
  if (!line.ends_with(L'|')) throw std::invalid_argument("a ping line ends with a separator");
  line.remove_suffix(1);
  std::vector<std::wstring> fields = SplitFields(line, line.size() + 1);
  if (fields.size() < kFieldsBeforeAddresses || fields[2].empty()) {
    throw std::invalid_argument("a ping line names the time limit and the pipe");
  }
  const std::wstring& timeout = fields[1];
  if (timeout.empty() || timeout.size() > kMaxTimeoutDigits ||
      !std::all_of(timeout.begin(), timeout.end(),
                   [](wchar_t c) { return c >= L'0' && c <= L'9'; })) {
    throw std::invalid_argument("the time limit of a ping line is no number of milliseconds");
  }
  PingRequest request;
  request.timeoutMilliseconds = static_cast<unsigned int>(std::stoul(timeout));
  request.pipeName = fields[2];
  request.addresses.assign(fields.begin() + kFieldsBeforeAddresses, fields.end());
  return request;
}

inline constexpr std::size_t kPingReplyTimes = 256;
inline constexpr std::size_t kPingReplySize = kPingReplyTimes * sizeof(std::uint32_t);

/// 256 times in milliseconds, little-endian, in the order of the addresses; the unused ones are 0.
inline Bytes EncodePingReply(const std::vector<std::uint32_t>& times) {
  Bytes reply(kPingReplySize, 0);
  for (std::size_t i = 0; i < std::min(times.size(), kPingReplyTimes); ++i) {
    for (std::size_t byte = 0; byte < sizeof(std::uint32_t); ++byte) {
      reply[i * sizeof(std::uint32_t) + byte] = static_cast<std::uint8_t>(times[i] >> (8 * byte));
    }
  }
  return reply;
}

// ---------------------------------------------------------------------------------------------
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

/// What a game server tells about itself.
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

#endif  // LAUNCHER_KIT_WIRE_H_
