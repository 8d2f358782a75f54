// NetMessage: what was written is read back, and every access behaves as in a model of it.
#ifndef LAUNCHER_FUZZ_NET_MESSAGE_PROPERTY_H_
#define LAUNCHER_FUZZ_NET_MESSAGE_PROPERTY_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/property.h"
#include "query/net_message.h"

namespace fuzz {

// Of one input. Accesses that fail are slow, and more of them show nothing new.
inline constexpr int kMaxSteps = 100;

template <typename Access>
bool Succeeds(const Access& access) {
  try {
    access();
    return true;
  } catch (const launcher::NetMessageException&) {
    return false;
  }
}

inline void FillIncoming(launcher::NetMessage& message, ByteSpan bytes) {
  std::copy(bytes.begin(), bytes.end(), message.Buffer());
  message.SetSize(bytes.size());
}

/// Writes what the input tells, then reads it back. Each step is one byte, of which the two low
/// bits choose what is written, and the value.
inline void CheckWriteThenRead(ByteSpan data) {
  Input input(data);
  struct Written {
    std::uint64_t value;
    std::size_t width;  // bytes; a block when it is neither 4 nor 8
    std::uint8_t filling;
  };
  std::vector<Written> writes;
  auto outgoing = launcher::NetMessage::MakeOutgoing();
  for (int i = 0; i < kMaxSteps && !input.Empty(); ++i) {
    const unsigned int step = input.Byte() & 3U;
    Written written{0, 0, 0};
    bool succeeded = false;
    const std::size_t before = outgoing.Cursor();
    if (step == 0) {
      written = {input.BigEndian(4), 4, 0};
      succeeded =
          Succeeds([&] { outgoing.SegmentWrite(static_cast<std::uint32_t>(written.value)); });
    } else if (step == 1) {
      written = {input.BigEndian(8), 8, 0};
      succeeded = Succeeds([&] { outgoing.SegmentWrite(written.value); });
    } else {
      // Long blocks, so that short inputs reach the end of the buffer too. An odd width.
      const std::size_t width = step == 2 ? input.Byte() : input.BigEndian(2);
      written = {0, width | 1U, input.Byte()};
      const std::vector<std::uint8_t> block(written.width, written.filling);
      succeeded = Succeeds([&] { outgoing.SegmentWrite(block); });
    }
    Require(succeeded == (written.width <= launcher::NetMessage::kCapacity - before),
            "a write succeeds when and only when there is room");
    Require(outgoing.Cursor() == before + (succeeded ? written.width : 0),
            "a write moves the cursor by its width, a failed one not at all");
    if (succeeded) writes.push_back(written);
  }

  auto incoming = launcher::NetMessage::MakeIncoming();
  FillIncoming(incoming, {outgoing.Buffer(), outgoing.Cursor()});
  for (const Written& written : writes) {
    if (written.width == 4) {
      Require(incoming.Read32() == written.value, "a 32-bit number is read back");
    } else if (written.width == 8) {
      Require(incoming.Read64() == written.value, "a 64-bit number is read back");
    } else {
      std::vector<std::uint8_t> block(written.width);
      incoming.SegmentRead(block.data(), block.size());
      Require(std::all_of(block.begin(), block.end(),
                          [&](std::uint8_t byte) { return byte == written.filling; }),
              "a block is read back");
    }
  }
  Require(!Succeeds([&] { incoming.ReadByte(); }), "nothing follows what was written");
}

/// A message of the first bytes (as many as the first byte tells), read by steps of the other
/// bytes. A model of the stream says what each step must give.
inline void CheckReads(ByteSpan data) {
  Input input(data);
  const ByteSpan received = input.Bytes(input.Byte());
  auto message = launcher::NetMessage::MakeIncoming();
  // Bytes of an earlier, longer datagram follow the received ones.
  constexpr std::size_t kLongerThanAny = 1024;
  std::fill_n(message.Buffer(), kLongerThanAny, std::uint8_t{0x5A});
  FillIncoming(message, received);
  Input model(received);
  std::size_t left = received.size();
  for (int i = 0; i < kMaxSteps && !input.Empty(); ++i) {
    constexpr std::size_t kWidths[] = {1, 2, 4, 8};
    const unsigned int step = input.Byte() % 6U;
    std::size_t needed = 0;
    std::size_t taken = 0;
    bool succeeded = false;
    if (step < 4) {
      needed = kWidths[step];
      std::uint64_t value = 0;
      succeeded = Succeeds([&] {
        value = step == 0   ? message.ReadByte()
                : step == 1 ? message.Read16()
                : step == 2 ? message.Read32()
                            : message.Read64();
      });
      if (succeeded) Require(value == model.BigEndian(needed), "numbers are big-endian");
    } else if (step == 4) {
      needed = input.Byte();
      std::vector<std::uint8_t> block(needed);
      succeeded = Succeeds([&] { message.SegmentRead(block.data(), block.size()); });
      if (succeeded) {
        const ByteSpan expected = model.Bytes(needed);
        Require(std::equal(expected.begin(), expected.end(), block.begin(), block.end()),
                "raw bytes are copied");
      }
    } else {
      std::string text;
      succeeded = Succeeds([&] {
        const std::string_view view = message.ReadString();
        Require(view.data()[view.size()] == '\0', "a zero byte follows a string");
        text = view;
      });
      // The length byte is consumed even when the bytes behind it are missing.
      taken = left > 0 ? 1 : 0;
      needed = taken == 1 ? 1 + std::size_t{model.Byte()} : 1;
      if (succeeded) {
        std::string expected = model.Text(needed - 1);
        Require(text == expected.substr(0, expected.find('\0')), "a string ends at its first zero");
      }
    }
    Require(succeeded == (needed <= left),
            "a read succeeds when and only when the bytes are there");
    left -= succeeded ? needed : taken;
    Require(message.Cursor() == received.size() - left,
            "a read moves the cursor by its width, a failed one not at all");
  }
}

inline void CheckNetMessage(ByteSpan data) {
  CheckWriteThenRead(data);
  CheckReads(data);
}

}  // namespace fuzz

#endif  // LAUNCHER_FUZZ_NET_MESSAGE_PROPERTY_H_
