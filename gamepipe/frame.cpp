#include "gamepipe/frame.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace launcher {
namespace {

std::uint8_t LowByte(std::size_t value) { return static_cast<std::uint8_t>(value & 0xFF); }

std::uint8_t* PutLittleEndian16(std::size_t value, std::uint8_t* out) {
  *out++ = LowByte(value);
  *out++ = LowByte(value >> 8);
  return out;
}

std::size_t GetLittleEndian16(std::span<const std::uint8_t> bytes) {
  return static_cast<std::size_t>(bytes[0]) | static_cast<std::size_t>(bytes[1]) << 8;
}

std::string Text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

void ReceiveBuffer::Append(std::span<const std::uint8_t> added) {
  if (consumed != 0) {
    // What is left is one partial frame at most, so this moves little.
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(consumed));
    consumed = 0;
  }
  bytes.insert(bytes.end(), added.begin(), added.end());
}

void ReceiveBuffer::Consume(std::size_t count) {
  consumed += count;
  if (consumed == bytes.size()) {
    bytes.clear();
    consumed = 0;
  }
}

void AppendFrame(const vorn::PellmarCommand& command, std::vector<std::uint8_t>& out) {
  const std::size_t begin = out.size();
  const std::size_t total = command.name.size() + kFrameOverhead + command.args.size();
  out.resize(begin + total);
  std::uint8_t* cursor = out.data() + begin;
  cursor = std::copy(std::begin(kFrameMagic), std::end(kFrameMagic), cursor);
  cursor = PutLittleEndian16(total, cursor);
  *cursor++ = LowByte(command.name.size());
  std::memcpy(cursor, command.name.data(), command.name.size());
  cursor = PutLittleEndian16(command.args.size(), cursor + command.name.size());
  std::memcpy(cursor, command.args.data(), command.args.size());
}

void EncodeFrame(const vorn::PellmarCommand& command, std::vector<std::uint8_t>& out) {
  out.clear();
  AppendFrame(command, out);
}

bool DecodeFrames(vorn::CommandHandler& handler, ReceiveBuffer& received) {
  for (;;) {
    // Looked up afresh for each frame: the command before may have brought more bytes.
    const std::span<const std::uint8_t> bytes = received.Unread();
    if (bytes.size() < kFrameMinimum) return true;
    if (!std::equal(std::begin(kFrameMagic), std::end(kFrameMagic), bytes.begin())) return false;
    if (bytes.size() < GetLittleEndian16(bytes.subspan(kFrameTotalOffset))) return true;

    // From here on the inner lengths count, not the total. A game may have sent them at odds with
    // it, so a frame that reaches past what was received waits like any partial frame.
    const std::size_t nameLength = bytes[kFrameNameLengthOffset];
    const std::size_t argsLengthOffset = kFrameNameOffset + nameLength;
    const std::size_t argsOffset = argsLengthOffset + kFrameArgsLengthSize;
    if (bytes.size() < argsOffset) return true;
    const std::size_t argsLength = GetLittleEndian16(bytes.subspan(argsLengthOffset));
    if (bytes.size() - argsOffset < argsLength) return true;

    const std::string name = Text(bytes.subspan(kFrameNameOffset, nameLength));
    const std::string args = Text(bytes.subspan(argsOffset, argsLength));
    received.Consume(argsOffset + argsLength);
    handler.Dispatch(name, args);
  }
}

}  // namespace launcher
