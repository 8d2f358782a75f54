#include "gamepipe/frame.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace launcher {
namespace {

std::uint8_t LowByte(std::size_t value) { return static_cast<std::uint8_t>(value & 0xFF); }

std::uint8_t* PutLittleEndian16(std::size_t value, std::uint8_t* out) {
  *out++ = LowByte(value);
  *out++ = LowByte(value >> 8);
  return out;
}

std::uint8_t* PutText(std::string_view text, std::uint8_t* out) {
  std::memcpy(out, text.data(), text.size());
  return out + text.size();
}

std::size_t GetLittleEndian16(std::span<const std::uint8_t> bytes) {
  return static_cast<std::size_t>(bytes[0]) | static_cast<std::size_t>(bytes[1]) << 8;
}

// What the received bytes begin with.
enum class Front { kFrame, kIncompleteFrame, kBadMagic };

// Consumes a whole frame. Leaves the bytes as they are when it does not return kFrame or when
// memory runs out.
Front TakeFrame(ReceiveBuffer& received, std::string& name, std::string& args) {
  const std::span<const std::uint8_t> bytes = received.Unread();
  if (bytes.size() < kFrameMinimum) return Front::kIncompleteFrame;
  if (!std::equal(std::begin(kFrameMagic), std::end(kFrameMagic), bytes.begin())) {
    return Front::kBadMagic;
  }
  if (bytes.size() < GetLittleEndian16(bytes.subspan(kFrameTotalOffset))) {
    return Front::kIncompleteFrame;
  }

  // From here on the inner lengths count, not the total. They may disagree with it, so a frame that
  // reaches beyond what was received waits like any incomplete frame.
  const std::size_t nameLength = bytes[kFrameNameLengthOffset];
  const std::size_t argsLengthOffset = kFrameNameOffset + nameLength;
  const std::size_t argsOffset = argsLengthOffset + kFrameArgsLengthSize;
  if (bytes.size() < argsOffset) return Front::kIncompleteFrame;
  const std::size_t argsLength = GetLittleEndian16(bytes.subspan(argsLengthOffset));
  if (bytes.size() - argsOffset < argsLength) return Front::kIncompleteFrame;

  const auto* const text = reinterpret_cast<const char*>(bytes.data());
  name.assign(text + kFrameNameOffset, nameLength);
  args.assign(text + argsOffset, argsLength);
  received.Consume(argsOffset + argsLength);
  return Front::kFrame;
}

}  // namespace

void ReceiveBuffer::Append(std::span<const std::uint8_t> added) {
  if (consumed != 0) {
    // What is left is one incomplete frame at most, so this moves little.
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

void AppendFrame(const vorn::PellmarCommand& command, ByteVector& out) {
  const std::string_view name = command.name;
  const std::string_view args = command.args;
  const std::size_t begin = out.size();
  const std::size_t size = name.size() + kFrameOverhead + args.size();
  out.resize(begin + size);
  std::uint8_t* cursor = out.data() + begin;
  cursor = std::copy(std::begin(kFrameMagic), std::end(kFrameMagic), cursor);
  cursor = PutLittleEndian16(size, cursor);
  *cursor++ = LowByte(name.size());
  cursor = PutText(name, cursor);
  cursor = PutLittleEndian16(args.size(), cursor);
  PutText(args, cursor);
}

void EncodeFrame(const vorn::PellmarCommand& command, ByteVector& out) {
  out.clear();
  AppendFrame(command, out);
}

bool DecodeFrames(vorn::CommandHandler& handler, ReceiveBuffer& received) {
  std::string name;
  std::string args;
  Front front;
  while ((front = TakeFrame(received, name, args)) == Front::kFrame) handler.Dispatch(name, args);
  return front != Front::kBadMagic;
}

}  // namespace launcher
