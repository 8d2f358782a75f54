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
#include <vector>

#include "gamepipe/byte_vector.h"
#include "gamepipe/command.h"

namespace launcher {

inline constexpr std::uint8_t kFrameMagic[] = {0x4B, 0x45};
inline constexpr std::size_t kFrameTotalOffset = 2;
inline constexpr std::size_t kFrameNameLengthOffset = 4;
inline constexpr std::size_t kFrameNameOffset = 5;
inline constexpr std::size_t kFrameArgsLengthSize = 2;
/// Everything but the name and the arguments.
inline constexpr std::size_t kFrameOverhead = 7;
/// With fewer bytes a decoder cannot say anything about a frame.
inline constexpr std::size_t kFrameMinimum = 5;

/// Bytes that were received and not yet consumed. Bytes are consumed from the front by moving a
/// cursor, so the cost of a frame does not depend on how many are waiting.
class ReceiveBuffer {
 public:
  void Append(std::span<const std::uint8_t> added);
  void Consume(std::size_t count);
  std::span<const std::uint8_t> Unread() const { return std::span(bytes).subspan(consumed); }

 private:
  std::vector<std::uint8_t> bytes;
  std::size_t consumed = 0;
};

/// Appends the frame of `command`. Nothing is checked: a name of more than 255 bytes or arguments of
/// more than 65,535 give a frame whose length fields hold their low bits. Leaves `out` as it was when
/// memory runs out.
void AppendFrame(const vorn::PellmarCommand& command, ByteVector& out);

/// Replaces `out` by the frame of `command`.
void EncodeFrame(const vorn::PellmarCommand& command, ByteVector& out);

/// Consumes the whole frames at the front of `received` and dispatches their commands in order; an
/// incomplete frame stays. A frame is consumed before its command runs, so a command may cause more
/// bytes to be appended and decoded. Returns false when a frame does not begin with the magic; the
/// bytes from there on stay, and the stream cannot be used any more.
bool DecodeFrames(vorn::CommandHandler& handler, ReceiveBuffer& received);

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_FRAME_H_
