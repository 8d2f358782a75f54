#include "gamepipe/frame.h"

#include <algorithm>
#include <string>
#include <utility>

#include "core/short_copy.h"

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

void Assign(std::span<const std::uint8_t> bytes, std::string& text) {
  text.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// What stands at the front of the received bytes.
enum class Next { kFrame, kPartial, kForeign };

// Consumes a whole frame. Leaves the bytes as they are when it does not return kFrame or when
// memory runs out.
Next TakeFrame(ReceiveBuffer& received, FrameTexts& texts) {
  const std::span<const std::uint8_t> bytes = received.Unread();
  if (bytes.size() < kFrameMinimum) return Next::kPartial;
  if (!std::equal(std::begin(kFrameMagic), std::end(kFrameMagic), bytes.begin())) {
    return Next::kForeign;
  }
  if (bytes.size() < GetLittleEndian16(bytes.subspan(kFrameTotalOffset))) return Next::kPartial;

  // From here on the inner lengths count, not the total. A game may have sent them at odds with it,
  // so a frame that reaches past what was received waits like any partial frame.
  const std::size_t nameLength = bytes[kFrameNameLengthOffset];
  const std::size_t argsLengthOffset = kFrameNameOffset + nameLength;
  const std::size_t argsOffset = argsLengthOffset + kFrameArgsLengthSize;
  if (bytes.size() < argsOffset) return Next::kPartial;
  const std::size_t argsLength = GetLittleEndian16(bytes.subspan(argsLengthOffset));
  if (bytes.size() - argsOffset < argsLength) return Next::kPartial;

  Assign(bytes.subspan(kFrameNameOffset, nameLength), texts.name);
  Assign(bytes.subspan(argsOffset, argsLength), texts.args);
  received.Consume(argsOffset + argsLength);
  return Next::kFrame;
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

void WriteFrame(const vorn::PellmarCommand& command, std::uint8_t* out) {
  std::uint8_t* cursor = std::copy(std::begin(kFrameMagic), std::end(kFrameMagic), out);
  cursor = PutLittleEndian16(FrameSize(command), cursor);
  *cursor++ = LowByte(command.name.size());
  cursor = CopyShort(command.name.data(), command.name.size(), cursor);
  cursor = PutLittleEndian16(command.args.size(), cursor);
  CopyShort(command.args.data(), command.args.size(), cursor);
}

bool DecodeFrames(vorn::CommandHandler& handler, ReceiveBuffer& received) {
  // A command that runs may bring this function to decode the next frames, into texts of its own.
  FrameTexts texts = received.TakeTexts();
  Next next;
  while ((next = TakeFrame(received, texts)) == Next::kFrame) {
    handler.Dispatch(texts.name, texts.args);
  }
  received.GiveBack(std::move(texts));
  return next == Next::kPartial;
}

}  // namespace launcher
