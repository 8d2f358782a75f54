#include "query/net_message.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tests/unit/log_capture.h"

namespace launcher {
namespace {

using Bytes = std::vector<std::uint8_t>;

static_assert(std::has_virtual_destructor_v<NetMessage>);

// A message as it arrives, followed by bytes of an earlier, longer one.
NetMessage Received(const Bytes& bytes) {
  NetMessage message = NetMessage::MakeIncoming();
  std::fill_n(message.Buffer(), NetMessage::kCapacity, std::uint8_t{0x5A});
  std::copy(bytes.begin(), bytes.end(), message.Buffer());
  message.SetSize(bytes.size());
  return message;
}

Bytes Sent(NetMessage& message) { return {message.Buffer(), message.Buffer() + message.Cursor()}; }

// An outgoing message with room for `room` more bytes.
NetMessage OutgoingWithRoom(std::size_t room) {
  NetMessage message = NetMessage::MakeOutgoing();
  message.SegmentWrite(Bytes(65536 - room, 0xEE));
  return message;
}

TEST(NetMessage, BufferHolds65536Bytes) {
  const NetMessage outgoing = NetMessage::MakeOutgoing();
  EXPECT_EQ(outgoing.Cursor(), 0U);
  EXPECT_EQ(outgoing.Size(), 65536U);
  EXPECT_TRUE(outgoing.IsWritable());
  NetMessage message = NetMessage::MakeIncoming();
  EXPECT_EQ(message.Cursor(), 0U);
  EXPECT_EQ(message.Size(), 0U);
  EXPECT_FALSE(message.IsWritable());
  message.Buffer()[0] = 0x11;
  message.Buffer()[65535] = 0x22;
  message.SetSize(65536);
  Bytes all(65536);
  message.SegmentRead(all.data(), all.size());
  EXPECT_EQ(all.front(), 0x11);
  EXPECT_EQ(all.back(), 0x22);
  EXPECT_THROW(message.ReadByte(), NetMessageException);
}

TEST(NetMessageRead, NumbersAreBigEndian) {
  NetMessage message = Received({
      0x01, 0x02,                                      // 16 bits
      0x81, 0x82, 0x83, 0x84,                          // 32 bits
      0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8,  // 64 bits
      0x07,                                            // 8 bits
  });
  EXPECT_EQ(message.Read16(), 258);
  EXPECT_EQ(message.Cursor(), 2U);
  EXPECT_EQ(message.Read32(), 0x81828384U);
  EXPECT_EQ(message.Cursor(), 6U);
  EXPECT_EQ(message.Read64(), 0xF1F2F3F4F5F6F7F8U);
  EXPECT_EQ(message.Cursor(), 14U);
  EXPECT_EQ(message.ReadByte(), 7);
  EXPECT_EQ(message.Cursor(), 15U);
}

struct Reader {
  const char* name;
  std::size_t width;
  std::function<void(NetMessage&)> read;
};

const std::vector<Reader>& Readers() {
  static const std::vector<Reader> readers{
      {"byte", 1, [](NetMessage& message) { message.ReadByte(); }},
      {"16 bits", 2, [](NetMessage& message) { message.Read16(); }},
      {"32 bits", 4, [](NetMessage& message) { message.Read32(); }},
      {"64 bits", 8, [](NetMessage& message) { message.Read64(); }},
      {"raw", 3,
       [](NetMessage& message) {
         std::uint8_t destination[3];
         message.SegmentRead(destination, sizeof(destination));
       }},
      {"string", 1, [](NetMessage& message) { message.ReadString(); }},
  };
  return readers;
}

TEST(NetMessageRead, EveryReadThatIsTooLongThrowsAndMovesNothing) {
  for (const Reader& reader : Readers()) {
    for (std::size_t remaining = 0; remaining < reader.width; ++remaining) {
      SCOPED_TRACE(reader.name);
      SCOPED_TRACE(remaining);
      LogCapture log;
      NetMessage message = Received(Bytes(2 + remaining, 0x00));
      message.Read16();
      EXPECT_THROW(reader.read(message), NetMessageException);
      EXPECT_EQ(message.Cursor(), 2U);
      EXPECT_EQ(message.Size(), 2 + remaining);
      EXPECT_EQ(log.Take(), "NetMessage::SegmentRead: Attempting read " +
                                std::to_string(reader.width) +
                                " bytes from offset 2 from stream of " +
                                std::to_string(2 + remaining) + " bytes\n");
      Bytes rest(remaining);
      EXPECT_NO_THROW(message.SegmentRead(rest.data(), rest.size()));
    }
    // Exactly the bytes that there are.
    LogCapture log;
    NetMessage message = Received(Bytes(reader.width, 0x00));
    EXPECT_NO_THROW(reader.read(message));
    EXPECT_EQ(message.Cursor(), reader.width);
    EXPECT_EQ(log.Take(), "");
  }
}

TEST(NetMessageRead, CountThatOverflowsTheSumWithTheCursorThrows) {
  LogCapture log;
  NetMessage message = Received({0x01, 0x02});
  message.ReadByte();
  std::uint8_t destination = 0xAA;
  EXPECT_THROW(message.SegmentRead(&destination, SIZE_MAX), NetMessageException);
  EXPECT_EQ(destination, 0xAA);
  EXPECT_EQ(message.Cursor(), 1U);
  EXPECT_EQ(
      log.Take(),
      "NetMessage::SegmentRead: Attempting read 4294967295 bytes from offset 1 from stream of "
      "2 bytes\n");
}

// The length byte and all bytes are consumed, a zero ends the text, and a zero follows it.
TEST(NetMessageString, Texts) {
  struct Case {
    Bytes bytes;
    std::string text;
  };
  Bytes longest{0xFF};
  longest.resize(256, 'x');
  const Case cases[] = {{{0x00}, ""},
                        {{0x03, 'a', 'b', 'c'}, "abc"},
                        {{0x05, 'a', 'b', 0x00, 'c', 'd'}, "ab"},
                        {{0x02, 0x00, 'a'}, ""},
                        {{0x02, 0xC3, 0xA9}, "\xC3\xA9"},
                        {longest, std::string(255, 'x')},
                        {{0x01, 's'}, "s"}};
  Bytes all;
  for (const Case& test : cases) all.insert(all.end(), test.bytes.begin(), test.bytes.end());
  NetMessage message = Received(all);
  std::size_t consumed = 0;
  for (const Case& test : cases) {
    const std::string_view text = message.ReadString();
    EXPECT_EQ(text, test.text);
    EXPECT_EQ(text.data()[text.size()], '\0');
    EXPECT_EQ(message.Cursor(), consumed += test.bytes.size());
  }
}

TEST(NetMessageString, LackOfBytesIsNoticedAfterTheLength) {
  LogCapture log;
  NetMessage message = Received({0x05, 'a', 'b', 'c', 'd'});
  EXPECT_THROW(message.ReadString(), NetMessageException);
  EXPECT_EQ(message.Cursor(), 1U);
  EXPECT_EQ(log.Take(),
            "NetMessage::SegmentRead: Attempting read 5 bytes from offset 1 from stream of 5 "
            "bytes\n");
}

TEST(NetMessageWrite, NumbersAreBigEndianAndBytesAsTheyAre) {
  NetMessage message = NetMessage::MakeOutgoing();
  message.SegmentWrite(std::uint64_t{1});
  EXPECT_EQ(message.Cursor(), 8U);
  message.SegmentWrite(std::uint64_t{0xF1F2F3F4F5F6F7F8});
  EXPECT_EQ(message.Cursor(), 16U);
  message.SegmentWrite(std::uint32_t{0x81828384});
  EXPECT_EQ(message.Cursor(), 20U);
  message.SegmentWrite(Bytes{0x01, 0x00, 0x03});
  message.SegmentWrite(Bytes{});
  EXPECT_EQ(Sent(message), (Bytes{
                               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,  // 1
                               0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8,  // 64 bits
                               0x81, 0x82, 0x83, 0x84,                          // 32 bits
                               0x01, 0x00, 0x03,                                // raw bytes
                           }));
}

TEST(NetMessageWrite, ExactlyTheRemainingRoom) {
  LogCapture log;
  NetMessage with64 = OutgoingWithRoom(8);
  with64.SegmentWrite(std::uint64_t{0x0102030405060708});
  EXPECT_EQ(with64.Cursor(), 65536U);
  EXPECT_EQ(with64.Buffer()[65528], 0x01);
  EXPECT_EQ(with64.Buffer()[65535], 0x08);

  NetMessage with32 = OutgoingWithRoom(4);
  with32.SegmentWrite(std::uint32_t{0x01020304});
  EXPECT_EQ(with32.Cursor(), 65536U);

  NetMessage full = OutgoingWithRoom(0);
  EXPECT_NO_THROW(full.SegmentWrite(Bytes{}));
  EXPECT_EQ(log.Take(), "");
  // A message that was received has none.
  NetMessage received = Received({0x01, 0x02, 0x03, 0x04});
  EXPECT_THROW(received.SegmentWrite(std::uint64_t{1}), NetMessageException);
  EXPECT_EQ(received.Cursor(), 0U);
}

TEST(NetMessageWrite, EveryWriteThatIsTooLongThrowsAndChangesNothing) {
  struct Writer {
    std::size_t width;
    std::function<void(NetMessage&)> write;
  };
  const Writer writers[] = {
      {4, [](NetMessage& message) { message.SegmentWrite(std::uint32_t{0}); }},
      {8, [](NetMessage& message) { message.SegmentWrite(std::uint64_t{0}); }},
      {3, [](NetMessage& message) { message.SegmentWrite(Bytes(3, 0x00)); }},
  };
  for (const Writer& writer : writers) {
    for (std::size_t room = 0; room < writer.width; ++room) {
      SCOPED_TRACE(writer.width);
      SCOPED_TRACE(room);
      LogCapture log;
      NetMessage message = OutgoingWithRoom(room);
      std::fill_n(message.Buffer() + message.Cursor(), room, std::uint8_t{0x77});
      EXPECT_THROW(writer.write(message), NetMessageException);
      EXPECT_EQ(message.Cursor(), 65536 - room);
      EXPECT_EQ(Bytes(message.Buffer() + 65536 - room, message.Buffer() + 65536),
                Bytes(room, 0x77));
      EXPECT_EQ(log.Take(), "NetMessage::SegmentWrite: Attempting write " +
                                std::to_string(writer.width) + " bytes to offset " +
                                std::to_string(65536 - room) + " to stream of 65536 bytes\n");
    }
  }
}

}  // namespace
}  // namespace launcher
