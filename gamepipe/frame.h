// The frame in which a command travels on a game's pipe, the same in both directions. Numbers are
// little-endian; there is no padding and no terminator; frames follow each other back to back.
//
//   offset  size  field
//   0       1     0x4B "K"
//   1       1     0x45 "E"
//   2       2     total length of the frame: N + A + 7
//   4       1     N, length of the name
//   5       N     name
//   5+N     2     A, length of the arguments
//   7+N     A     arguments
//
// For name "X" without arguments: 4B 45 08 00 01 58 00 00.
#ifndef LAUNCHER_GAMEPIPE_FRAME_H_
#define LAUNCHER_GAMEPIPE_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "gamepipe/command.h"

namespace launcher {

inline constexpr std::uint8_t kFrameMagic[] = {0x4B, 0x45};
inline constexpr std::size_t kFrameTotalOffset = 2;
inline constexpr std::size_t kFrameNameLengthOffset = 4;
inline constexpr std::size_t kFrameNameOffset = 5;
inline constexpr std::size_t kFrameArgsLengthSize = 2;
/// Everything but the name and the arguments.
inline constexpr std::size_t kFrameOverhead = 7;
/// A decoder needs these many bytes to tell anything.
inline constexpr std::size_t kFrameMinimum = 5;

/// The two texts of a received frame.
struct FrameTexts {
  std::string name;
  std::string args;
};

/// Bytes that were received and not yet consumed. Bytes are consumed from the front by moving a
/// cursor, so the cost of a frame does not depend on how many wait behind it.
class ReceiveBuffer {
 public:
  void Append(std::span<const std::uint8_t> added);
  void Consume(std::size_t count);
  std::span<const std::uint8_t> Unread() const { return std::span(bytes).subspan(consumed); }

  /// The memory of frames before, to decode the next ones into. Whoever takes it while it is taken
  /// finds empty texts.
  FrameTexts TakeTexts() { return std::exchange(texts, {}); }
  void GiveBack(FrameTexts taken) { texts = std::move(taken); }

 private:
  std::vector<std::uint8_t> bytes;
  std::size_t consumed = 0;
  FrameTexts texts;
};

/// The bytes that the frame of `command` takes.
inline std::size_t FrameSize(const vorn::PellmarCommand& command) {
  return command.name.size() + kFrameOverhead + command.args.size();
}

/// Writes the frame of `command`, `FrameSize(command)` bytes. Nothing is checked: a name of more
/// than 255 bytes or arguments of more than 65,535 give a frame whose length fields hold their low
/// bits.
void WriteFrame(const vorn::PellmarCommand& command, std::uint8_t* out);

/// Appends the frame of `command` to a vector of bytes. Leaves `out` as it was when memory runs
/// out.
template <typename Bytes>
void AppendFrame(const vorn::PellmarCommand& command, Bytes& out) {
  const std::size_t begin = out.size();
  out.resize(begin + FrameSize(command));
  WriteFrame(command, out.data() + begin);
}

/// Replaces `out` by the frame of `command`.
template <typename Bytes>
void EncodeFrame(const vorn::PellmarCommand& command, Bytes& out) {
  out.clear();
  AppendFrame(command, out);
}

/// Consumes the whole frames at the front of `received` and dispatches their commands in order; a
/// partial frame stays. A frame is consumed before its command runs, so a command may cause more
/// bytes to be appended and decoded. Returns false when a frame does not begin with the magic; the
/// bytes from there on stay, and the stream cannot be used any more.
bool DecodeFrames(vorn::CommandHandler& handler, ReceiveBuffer& received);

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_FRAME_H_
