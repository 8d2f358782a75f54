// Command frames: any split of a game's bytes gives the same commands and leaves the same rest, and
// a command that fits into a frame comes back from its own frame.
#ifndef LAUNCHER_FUZZ_FRAME_PROPERTY_H_
#define LAUNCHER_FUZZ_FRAME_PROPERTY_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/property.h"
#include "gamepipe/frame.h"

namespace fuzz {

using Commands = std::vector<std::pair<std::string, std::string>>;

class CommandRecorder final : public vorn::PellmarCommand {
 public:
  explicit CommandRecorder(Commands& commandsOut)
      : PellmarCommand({}, {}), recorded(&commandsOut) {}

  void execute(const std::string& receivedName, const std::string& receivedArgs) override {
    recorded->emplace_back(receivedName, receivedArgs);
  }

 private:
  Commands* recorded;
};

struct DecodedStream {
  bool operator==(const DecodedStream&) const = default;

  Commands commands;
  /// What was received and not consumed, and what was not even received because the decoder had
  /// refused the stream before.
  std::vector<std::uint8_t> rest;
  bool accepted = true;
};

/// Decodes `stream` in the pieces whose lengths `nextLength` tells; a length of 0 counts as 1.
template <typename NextLength>
DecodedStream DecodeInPieces(ByteSpan stream, const NextLength& nextLength) {
  DecodedStream decoded;
  vorn::CommandHandler handler(std::make_unique<CommandRecorder>(decoded.commands));
  launcher::ReceiveBuffer received;
  while (decoded.accepted && !stream.empty()) {
    const std::size_t length = std::min(stream.size(), std::max<std::size_t>(nextLength(), 1));
    received.Append(stream.first(length));
    stream = stream.subspan(length);
    decoded.accepted = launcher::DecodeFrames(handler, received);
  }
  decoded.rest.assign(received.Unread().begin(), received.Unread().end());
  decoded.rest.insert(decoded.rest.end(), stream.begin(), stream.end());
  return decoded;
}

inline void CheckRoundTrip(const std::string& name, const std::string& args) {
  constexpr std::size_t kMaxName = 255;
  constexpr std::size_t kMaxFrame = 65535;
  if (name.size() > kMaxName || name.size() + args.size() + launcher::kFrameOverhead > kMaxFrame) {
    return;
  }
  launcher::ByteVector frame;
  launcher::EncodeFrame(vorn::PellmarCommand(name, args), frame);
  const DecodedStream decoded = DecodeInPieces(frame, [&] { return frame.size(); });
  Require(decoded.accepted && decoded.rest.empty(), "a frame is decoded whole");
  Require(decoded.commands == Commands{{name, args}}, "a command comes back from its frame");
}

/// The first byte of the input seeds the lengths of the pieces, the rest is the stream.
inline void CheckFrames(ByteSpan data) {
  Input input(data);
  std::uint32_t random = input.Byte();
  const ByteSpan stream = input.Rest();

  const DecodedStream whole = DecodeInPieces(stream, [&] { return stream.size(); });
  Require(DecodeInPieces(stream, [] { return std::size_t{1}; }) == whole,
          "bytes that arrive one by one mean the same");
  const auto randomLength = [&] {
    random = random * 1664525U + 1013904223U;
    return static_cast<std::size_t>(random >> 24) % 23;
  };
  Require(DecodeInPieces(stream, randomLength) == whole, "any split means the same");

  std::size_t decodedBytes = whole.rest.size();
  for (const auto& [name, args] : whole.commands) {
    decodedBytes += name.size() + args.size() + launcher::kFrameOverhead;
    CheckRoundTrip(name, args);
  }
  Require(decodedBytes == stream.size(), "each byte belongs to one command or to the rest");
  const bool hasMagic =
      whole.rest.size() < launcher::kFrameMinimum || (whole.rest[0] == 'K' && whole.rest[1] == 'E');
  Require(whole.accepted == hasMagic, "a stream without the magic is refused, and no other");
}

}  // namespace fuzz

#endif  // LAUNCHER_FUZZ_FRAME_PROPERTY_H_
