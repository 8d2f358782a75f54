/// The formats that a game and the helper program speak with the launcher (kit/query_wire.h has the
/// game server's), written from the documents and not from the library: a second implementation, so
/// that a mistake in one of the two shows as soon as they meet. No Windows header, no input or
/// output.
#ifndef LAUNCHER_KIT_WIRE_H_
#define LAUNCHER_KIT_WIRE_H_

#include <algorithm>
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

/// Collects what arrives on a pipe and returns the commands in it. Stricter than the launcher:
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

  /// How many bytes of a command that is not whole yet have come.
  std::size_t Pending() const { return received.size(); }

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

}  // namespace kit

#endif  // LAUNCHER_KIT_WIRE_H_
