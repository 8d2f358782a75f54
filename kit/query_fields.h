/// A game server's answers, read the way the launcher reads them and described field by field; a second
/// implementation like kit/wire.h. No Windows header, no input or output.
#ifndef LAUNCHER_KIT_QUERY_FIELDS_H_
#define LAUNCHER_KIT_QUERY_FIELDS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kit/fields.h"

namespace kit {

/// The offset of the id in a challenge response.
inline std::size_t ChallengeIdOffset(const Bytes& response) {
  constexpr std::size_t kLongForm = 12;
  constexpr std::size_t kIdOffsetInLongForm = 8;
  return response.size() == kLongForm ? kIdOffsetInLongForm : 0;
}

/// The challenge id of a challenge response, or nothing when it is too short.
inline std::optional<std::uint32_t> ReadChallengeId(const Bytes& response) {
  constexpr std::size_t kIdSize = 4;
  const std::size_t begin = ChallengeIdOffset(response);
  if (response.size() < begin + kIdSize) return std::nullopt;
  std::uint32_t id = 0;
  for (std::size_t i = begin; i < begin + kIdSize; ++i) id = id << 8 | response[i];
  return id;
}

/// The fields of a challenge response that has an id.
inline std::vector<Field> ChallengeFields(const Bytes& response) {
  constexpr std::size_t kIdSize = 4;
  std::vector<Field> fields;
  const auto add = [&fields, &response](std::size_t begin, std::size_t end, const char* name) {
    if (begin == end) return;
    const auto first = response.begin();
    fields.push_back({begin,
                      Bytes(first + static_cast<std::ptrdiff_t>(begin),
                            first + static_cast<std::ptrdiff_t>(end)),
                      name, ""});
  };
  const std::size_t id = ChallengeIdOffset(response);
  add(0, id, "skipped");
  add(id, id + kIdSize, "challenge id");
  add(id + kIdSize, response.size(), "ignored");
  return fields;
}

/// What a response holds and what the launcher makes of it.
struct ResponseDescription {
  std::vector<Field> fields;       // all that could be read
  std::vector<std::string> notes;  // what a server's author is likely not to have meant
  std::string status;              // what a host would get
};

/// Reads one response.
class ResponseReader {
 public:
  explicit ResponseReader(const Bytes& response) : bytes(response) {}

  ResponseDescription Read() {
    try {
      ReadFields();
    } catch (const EarlyEnd& end) {
      result.notes.emplace_back(end.what());
      result.status = "ERROR_MARSHALLING_EXCEPTION";
    }
    return std::move(result);
  }

 private:
  struct EarlyEnd : std::runtime_error {
    using std::runtime_error::runtime_error;
  };

  enum class Mode { kUnknown, kFrontier, kBreach, kKillrace, kArmsLadder, kBanner, kVessel };

  static Mode ModeOf(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, Mode>, 14> kModes{{
        {"Frontier", Mode::kFrontier},
        {"Foothold", Mode::kFrontier},
        {"ArmorControl", Mode::kFrontier},
        {"SkyControl", Mode::kFrontier},
        {"Salvager", Mode::kFrontier},
        {"Demolition", Mode::kFrontier},
        {"Linkline", Mode::kFrontier},
        {"Breach", Mode::kBreach},
        {"Lastcrew", Mode::kBreach},
        {"KillRace", Mode::kKillrace},
        {"Killrace", Mode::kKillrace},
        {"ArmsLadder", Mode::kArmsLadder},
        {"SeizeTheBanner", Mode::kBanner},
        {"VesselStrike", Mode::kVessel},
    }};
    for (const auto& [part, mode] : kModes) {
      if (name.find(part) != std::string_view::npos) return mode;
    }
    return Mode::kUnknown;
  }

  void ReadFields() {
    constexpr std::uint64_t kOldestVersion = 3;
    constexpr std::uint64_t kNewestVersion = 10;
    constexpr std::uint64_t kFirstVersionWithPlatform = 9;
    constexpr std::uint64_t kStateInRound = 3;
    version = Number("version", 1);
    if (version < kOldestVersion || version > kNewestVersion) {
      result.status = "ERROR_PROTOCOL_VERSION";
      result.notes.emplace_back("the launcher knows the versions 3 to 10, and reads no further");
      return;
    }
    const std::uint64_t state = version > kOldestVersion ? Number("serverState", 1) : 1;
    if (version >= kFirstVersionWithPlatform) {
      Number("platform", 1);
      Number("persistedIdPart1", 8);
      Number("persistedIdPart2", 8);
    }
    Number("gameId", 8);
    const std::string mode = Text("gameMode");
    Number("mapVariant", 1);
    const std::size_t sectionLength = Number("sectionLength", 1);
    if (sectionLength > 0) ReadSection(mode, sectionLength);
    Text("currentMap");
    if (state == kStateInRound) {
      Number("roundTime", 4);
      Number("defaultRoundTimeMultiplier", 4);
    }
    Number("maxPlayers", 1);
    Number("waitingPlayers", 1);
    ReadTeams();
    result.status = "SUCCESS";
    if (offset < bytes.size()) {
      Note(std::to_string(bytes.size() - offset) + " bytes after the last field are ignored");
    }
  }

  void ReadSection(const std::string& modeName, std::size_t length) {
    const std::size_t begin = offset;
    switch (ModeOf(modeName)) {
      case Mode::kFrontier:
        Entries(length, {{"team", 1}, {"tickets", 2}, {"ticketsMax", 2}});
        return;
      case Mode::kKillrace:
        Entries(length, {{"team", 1}, {"kills", 2}, {"killsMax", 2}});
        return;
      case Mode::kBanner:
        Entries(length, {{"team", 1}, {"flags", 2}, {"flagsMax", 2}, {"roundTimeMax", 2}});
        return;
      case Mode::kVessel:
        Entries(length, {{"team", 1}, {"explodedCrates", 1}, {"vesselHealth", 2}});
        return;
      case Mode::kBreach:
        Number("attackersTeam", 1);
        Number("defendersTeam", 1);
        Number("tickets", 2);
        Number("ticketsMax", 2);
        Number("bases", 1);
        Number("basesMax", 1);
        break;
      case Mode::kArmsLadder: {
        Number("maxArmsLadderLevel", 1);
        const std::uint64_t count = Number("count", 1);
        for (std::uint64_t i = 0; i < count; ++i) {
          Number("entry " + std::to_string(i) + " playerId", 8);
          Number("entry " + std::to_string(i) + " level", 1);
        }
        break;
      }
      case Mode::kUnknown:
        Note("the launcher does not know the mode " + Quoted(modeName) + ": it skips the section");
        Take("section", length, "skipped");
        return;
    }
    if (offset - begin != length) {
      Note("the section takes " + std::to_string(offset - begin) + " bytes, whatever " +
           "sectionLength says (" + std::to_string(length) + ")");
    }
  }

  /// Whole entries only.
  void Entries(std::size_t length, const std::vector<std::pair<const char*, std::size_t>>& fields) {
    std::size_t entrySize = 0;
    for (const auto& [name, size] : fields) entrySize += size;
    for (std::size_t i = 0; i < length / entrySize; ++i) {
      for (const auto& [name, size] : fields) {
        Number("entry " + std::to_string(i) + " " + name, size);
      }
    }
    if (length % entrySize != 0) {
      Note("sectionLength " + std::to_string(length) + " is no multiple of an entry's " +
           std::to_string(entrySize) + " bytes: the rest is read as the start of currentMap");
    }
  }

  void ReadTeams() {
    constexpr std::uint64_t kNoTeams = 128;
    constexpr std::uint64_t kFirstVersionWithRole = 8;
    const std::uint64_t teamCountByte = Number("teamCountByte", 1);
    if (teamCountByte >= kNoTeams) return;
    const std::uint64_t teamCount = teamCountByte + 1;
    const bool withRole = version >= kFirstVersionWithRole;
    std::vector<std::uint64_t> playerCounts;
    for (std::uint64_t team = 0; team < teamCount; ++team) {
      playerCounts.push_back(Number("team " + std::to_string(team) + " playerCount", 1));
    }
    for (std::uint64_t team = 1; team < teamCount; ++team) {
      Number("team " + std::to_string(team) + " faction", 1);
    }
    for (std::uint64_t team = 0; team < teamCount; ++team) {
      for (std::uint64_t player = 0; player < playerCounts[team]; ++player) {
        const std::string who =
            "team " + std::to_string(team) + " player " + std::to_string(player) + " ";
        Number(who + "playerId", 8);
        Text(who + "name");
        Text(who + "tag");
        Number(who + "rank", withRole ? 2 : 1);
        Number(who + "score", 4);
        Number(who + "kills", 2);
        Number(who + "deaths", 2);
        Number(who + "squad", 1);
        if (withRole) Number(who + "role", 1);
      }
    }
  }

  Bytes Take(const std::string& name, std::size_t size, const std::string& value) {
    Need(name, size);
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    Bytes taken(begin, begin + static_cast<std::ptrdiff_t>(size));
    result.fields.push_back({offset, taken, name, value});
    offset += size;
    return taken;
  }

  std::uint64_t Number(const std::string& name, std::size_t size) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : Take(name, size, "")) value = value << 8 | byte;
    result.fields.back().value = std::to_string(value);
    return value;
  }

  std::string Text(const std::string& name) {
    constexpr std::size_t kLengthSize = 1;
    Need(name, kLengthSize);
    const Bytes taken = Take(name, kLengthSize + bytes[offset], "");
    std::string text(taken.begin() + kLengthSize, taken.end());
    result.fields.back().value = Quoted(text);
    return text;
  }

  void Need(const std::string& name, std::size_t size) const {
    const std::size_t left = bytes.size() - offset;
    if (size <= left) return;
    throw EarlyEnd("the response ends early: " + name + " at offset " + std::to_string(offset) +
                   " takes " + std::to_string(size) + " bytes, " + std::to_string(left) +
                   " are left");
  }

  void Note(std::string note) { result.notes.push_back(std::move(note)); }

  const Bytes& bytes;
  std::size_t offset = 0;
  std::uint64_t version = 0;
  ResponseDescription result;
};

}  // namespace kit

#endif  // LAUNCHER_KIT_QUERY_FIELDS_H_
