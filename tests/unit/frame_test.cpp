// The frames of a game's pipe, byte by byte.

#include "gamepipe/frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace launcher {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::CommandHandler;
using vorn::PellmarCommand;

using Bytes = std::vector<std::uint8_t>;
using Command = std::pair<std::string, std::string>;
using Commands = std::vector<Command>;

// name "X", no arguments
const Bytes kX{0x4B, 0x45,   // magic
               0x08, 0x00,   // total length
               0x01,         // name length
               0x58,         // name
               0x00, 0x00};  // length of the arguments

// name "JoinGame", arguments "a b c"
const Bytes kJoinGame{0x4B, 0x45,                                      // magic
                      0x14, 0x00,                                      // total length
                      0x08,                                            // name length
                      0x4A, 0x6F, 0x69, 0x6E, 0x47, 0x61, 0x6D, 0x65,  // name
                      0x05, 0x00,                                      // length of the arguments
                      0x61, 0x20, 0x62, 0x20, 0x63};                   // arguments

// neither name nor arguments
const Bytes kNothing{0x4B, 0x45, 0x07, 0x00, 0x00, 0x00, 0x00};

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes Encoded(const std::string& name, const std::string& args) {
  ByteVector out{1, 2, 3};  // replaced
  EncodeFrame(PellmarCommand(name, args), out);
  return {out.begin(), out.end()};
}

TEST(EncodeFrame, EveryKindOfLength) {
  EXPECT_EQ(Encoded("X", ""), kX);
  EXPECT_EQ(Encoded("JoinGame", "a b c"), kJoinGame);
  EXPECT_EQ(Encoded("", ""), kNothing);
  EXPECT_EQ(Encoded(std::string("\0\xFF", 2), std::string("\xC3\xA4\0", 3)),
            (Bytes{0x4B, 0x45, 0x0C, 0x00, 0x02, 0x00, 0xFF, 0x03, 0x00, 0xC3, 0xA4, 0x00}));
}

// A name of `nameLength` "n", arguments of `argsLength` "a". Texts are written whole; what their
// lengths have beyond the field is not.
TEST(EncodeFrame, LengthsAreLittleEndianAndKeepTheirLowBits) {
  const struct {
    std::size_t nameLength;
    std::size_t argsLength;
    Bytes total;
    std::uint8_t name;
    Bytes args;
  } cases[] = {
      {1, 300, {0x34, 0x01}, 0x01, {0x2C, 0x01}},    // 1 + 300 + 7 is 0x0134, 300 is 0x012C
      {255, 100, {0x6A, 0x01}, 0xFF, {0x64, 0x00}},  // 0x016A, the longest name that fits
      {256, 0, {0x07, 0x01}, 0x00, {0x00, 0x00}},    // 0x0107, 0x100
      {300, 0, {0x33, 0x01}, 0x2C, {0x00, 0x00}},    // 0x0133, 0x12C
      {1, 65527, {0xFF, 0xFF}, 0x01, {0xF7, 0xFF}},  // 0xFFFF, 0xFFF7: the longest frame that fits
      {1, 65528, {0x00, 0x00}, 0x01, {0xF8, 0xFF}},  // 0x10000, 0xFFF8
      {1, 65535, {0x07, 0x00}, 0x01, {0xFF, 0xFF}},  // 0x10007, 0xFFFF
      {1, 65541, {0x0D, 0x00}, 0x01, {0x05, 0x00}},  // 0x1000D, 0x10005
      {1, 150000, {0xF8, 0x49}, 0x01, {0xF0, 0x49}}};  // 0x249F8, 0x249F0
  for (const auto& frame : cases) {
    EXPECT_EQ(Encoded(std::string(frame.nameLength, 'n'), std::string(frame.argsLength, 'a')),
              (Bytes{0x4B, 0x45} + frame.total + Bytes{frame.name} + Bytes(frame.nameLength, 'n') +
               frame.args + Bytes(frame.argsLength, 'a')))
        << frame.nameLength << ' ' << frame.argsLength;
  }
}

TEST(AppendFrame, LeavesWhatIsThere) {
  ByteVector out;
  AppendFrame(PellmarCommand("X", ""), out);
  AppendFrame(PellmarCommand("JoinGame", "a b c"), out);
  EXPECT_EQ(Bytes(out.begin(), out.end()), kX + kJoinGame);
}

TEST(ReceiveBuffer, KeepsWhatWasNotConsumed) {
  ReceiveBuffer buffer;
  EXPECT_THAT(buffer.Unread(), IsEmpty());
  buffer.Append(Bytes{1, 2, 3});
  buffer.Consume(2);
  EXPECT_THAT(buffer.Unread(), ElementsAre(3));
  buffer.Append(Bytes{4, 5});
  EXPECT_THAT(buffer.Unread(), ElementsAre(3, 4, 5));
  buffer.Consume(1);
  buffer.Consume(2);
  EXPECT_THAT(buffer.Unread(), IsEmpty());
  buffer.Append(Bytes{6});
  buffer.Append(Bytes{});
  EXPECT_THAT(buffer.Unread(), ElementsAre(6));
}

// The commands that a decoder hands out, in order.
class DecodeFramesTest : public testing::Test {
 protected:
  bool Decode(const Bytes& bytes) {
    received.Append(bytes);
    return DecodeFrames(handler, received);
  }
  Commands Take() { return std::exchange(commands, {}); }
  Bytes Unread() const { return {received.Unread().begin(), received.Unread().end()}; }
  void Forget() {
    received = {};
    commands.clear();
  }

  /// Run inside the next command.
  std::function<void()> inside;
  ReceiveBuffer received;

 private:
  class Recorder final : public PellmarCommand {
   public:
    explicit Recorder(DecodeFramesTest& recordingTest)
        : PellmarCommand("", ""), test(recordingTest) {}
    void execute(const std::string& receivedName, const std::string& receivedArgs) override {
      test.commands.emplace_back(receivedName, receivedArgs);
      if (const auto work = std::exchange(test.inside, nullptr)) {
        const std::string before = receivedName;
        work();
        // What runs inside a command does not change its texts.
        EXPECT_EQ(receivedName, before);
      }
    }

   private:
    DecodeFramesTest& test;
  };

  Commands commands;
  CommandHandler handler{std::make_unique<Recorder>(*this)};
};

TEST_F(DecodeFramesTest, FramesBackToBackInOrder) {
  EXPECT_TRUE(Decode({}));
  EXPECT_THAT(Take(), IsEmpty());
  EXPECT_TRUE(Decode(kJoinGame + kX + kNothing + kX + Bytes{0x4B, 0x45, 0x14}));
  EXPECT_THAT(Take(), ElementsAre(Command("JoinGame", "a b c"), Command("X", ""), Command("", ""),
                                  Command("X", "")));
  EXPECT_THAT(Unread(), ElementsAre(0x4B, 0x45, 0x14));
}

TEST_F(DecodeFramesTest, ManyFrames) {
  Bytes stream;
  for (int i = 0; i < 20000; ++i) stream.insert(stream.end(), kX.begin(), kX.end());
  EXPECT_TRUE(Decode(stream));
  EXPECT_EQ(Take(), Commands(20000, Command("X", "")));
}

TEST_F(DecodeFramesTest, SplitAtEveryPosition) {
  const Bytes stream = kX + kJoinGame + kNothing + kJoinGame;
  const Commands all{{"X", ""}, {"JoinGame", "a b c"}, {"", ""}, {"JoinGame", "a b c"}};
  // Where each of the four frames is complete.
  const std::vector<std::size_t> ends{8, 28, 35, 55};
  ASSERT_EQ(stream.size(), 55U);
  for (std::size_t split = 0; split <= stream.size(); ++split) {
    SCOPED_TRACE(split);
    const auto middle = stream.begin() + static_cast<std::ptrdiff_t>(split);
    EXPECT_TRUE(Decode(Bytes(stream.begin(), middle)));
    Commands decoded = Take();
    std::size_t complete = 0;
    while (complete < ends.size() && ends[complete] <= split) ++complete;
    EXPECT_EQ(decoded.size(), complete);
    EXPECT_TRUE(Decode(Bytes(middle, stream.end())));
    for (Command& command : Take()) decoded.push_back(std::move(command));
    EXPECT_EQ(decoded, all);
    EXPECT_THAT(Unread(), IsEmpty());
  }
}

TEST_F(DecodeFramesTest, LengthsAreLittleEndianAndUnsigned) {
  // Name of 200 bytes, arguments of 0x0280 bytes: 200 + 640 + 7 is 0x034F.
  EXPECT_TRUE(Decode(Bytes{0x4B, 0x45, 0x4F, 0x03, 0xC8} + Bytes(200, 'n') + Bytes{0x80, 0x02} +
                     Bytes(640, 'a')));
  EXPECT_THAT(Take(), ElementsAre(Command(std::string(200, 'n'), std::string(640, 'a'))));
  EXPECT_TRUE(Decode(Bytes{0x4B, 0x45, 0x06, 0x01, 0xFF} + Bytes(255, 'n') + Bytes{0x00, 0x00}));
  EXPECT_THAT(Take(), ElementsAre(Command(std::string(255, 'n'), "")));
  EXPECT_TRUE(Decode({0x4B, 0x45, 0x0C, 0x00, 0x02, 0x00, 0xFF, 0x03, 0x00, 0x4B, 0x45, 0x00}));
  EXPECT_THAT(Take(), ElementsAre(Command(std::string("\0\xFF", 2), std::string("KE\0", 3))));
}

TEST_F(DecodeFramesTest, RejectsAnythingThatDoesNotBeginWithTheMagic) {
  const Bytes bad[] = {{0x4C, 0x45, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // first byte
                       {0x4B, 0x46, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // second byte
                       {0x6B, 0x65, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // lower case
                       {0x00, 0x4B, 0x45, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},
                       {0x00, 0x00, 0x00, 0x00, 0x00}};
  for (const Bytes& bytes : bad) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    Forget();
    EXPECT_FALSE(Decode(kX + kJoinGame + bytes + kX));
    EXPECT_THAT(Take(), ElementsAre(Command("X", ""), Command("JoinGame", "a b c")));
    EXPECT_EQ(Unread(), bytes + kX);
    // There is no way back into the stream.
    EXPECT_FALSE(Decode(kX));
    EXPECT_THAT(Take(), IsEmpty());
  }
}

TEST_F(DecodeFramesTest, TheMagicIsLookedAtWithTheFifthByte) {
  EXPECT_TRUE(Decode(Bytes{'X', 'X', 'X', 'X'}));
  EXPECT_FALSE(Decode(Bytes{'X'}));
}

TEST_F(DecodeFramesTest, WaitsForTheTotalLengthThenTakesTheInnerOnes) {
  // Total length 12, inner length 8.
  EXPECT_TRUE(Decode({0x4B, 0x45, 0x0C, 0x00, 0x01, 0x58, 0x00, 0x00, 0x4B, 0x45, 0x08}));
  EXPECT_THAT(Take(), IsEmpty());
  EXPECT_TRUE(Decode({0x00}));
  EXPECT_THAT(Take(), ElementsAre(Command("X", "")));
  EXPECT_THAT(Unread(), ElementsAre(0x4B, 0x45, 0x08, 0x00));

  // The largest total length; what follows the frame of 8 bytes is none.
  Forget();
  EXPECT_TRUE(Decode(Bytes{0x4B, 0x45, 0xFF, 0xFF, 0x01, 0x58, 0x00, 0x00} + Bytes(65526, 0)));
  EXPECT_THAT(Take(), IsEmpty());
  EXPECT_EQ(Unread().size(), 65534U);
  EXPECT_FALSE(Decode({0x00}));
  EXPECT_THAT(Take(), ElementsAre(Command("X", "")));
}

// Inner lengths may reach beyond the total one, and beyond what was received. The buffers are as long
// as what they hold, so that a sanitizer sees a byte too many.
TEST_F(DecodeFramesTest, ATooSmallTotalLengthChangesNothing) {
  for (const std::uint8_t total : Bytes{0, 1, 5, 7, 8}) {
    Bytes frame = kJoinGame;
    frame.at(2) = total;
    for (std::size_t have = 5; have < frame.size(); ++have) {
      SCOPED_TRACE(testing::Message() << int{total} << ' ' << have);
      const auto middle = frame.begin() + static_cast<std::ptrdiff_t>(have);
      EXPECT_TRUE(Decode(Bytes(frame.begin(), middle)));
      EXPECT_THAT(Take(), IsEmpty());
      EXPECT_EQ(Unread(), Bytes(frame.begin(), middle));
      EXPECT_TRUE(Decode(Bytes(middle, frame.end()) + kX));
      EXPECT_THAT(Take(), ElementsAre(Command("JoinGame", "a b c"), Command("X", "")));
    }
  }
}

TEST_F(DecodeFramesTest, InnerLengthsBeyondWhatWasReceivedWait) {
  EXPECT_TRUE(Decode({0x4B, 0x45, 0x08, 0x00, 0xFF, 0x58, 0x00, 0x00}));
  EXPECT_THAT(Take(), IsEmpty());
  EXPECT_EQ(Unread().size(), 8U);

  Forget();
  EXPECT_TRUE(Decode(Bytes{0x4B, 0x45, 0x08, 0x00, 0x01, 0x58, 0xFF, 0xFF} + Bytes(65534, 'a')));
  EXPECT_THAT(Take(), IsEmpty());
  EXPECT_TRUE(Decode(Bytes(1, 'a')));
  EXPECT_THAT(Take(), ElementsAre(Command("X", std::string(65535, 'a'))));
}

TEST_F(DecodeFramesTest, WhatTooLongArgumentsLeaveIsNoFrame) {
  // The frame says 5 bytes of arguments; the other 65536 are read as the next frame.
  EXPECT_FALSE(Decode(Encoded("X", std::string(65541, 'a'))));
  EXPECT_THAT(Take(), ElementsAre(Command("X", "aaaaa")));
}

TEST_F(DecodeFramesTest, AFrameIsRemovedBeforeItsCommandRuns) {
  std::size_t left = 0;
  inside = [&] { left = received.Unread().size(); };
  EXPECT_TRUE(Decode(kX + kJoinGame + kX));
  EXPECT_EQ(left, 28U);
}

TEST_F(DecodeFramesTest, ACommandMayReceiveAndDecodeMore) {
  inside = [&] {
    // Longer than the buffer, so that it moves.
    EXPECT_TRUE(Decode(Encoded("Long", std::string(5000, 'l')) + Bytes{0x4B, 0x45}));
  };
  EXPECT_TRUE(Decode(kJoinGame + kX));
  EXPECT_THAT(Take(), ElementsAre(Command("JoinGame", "a b c"), Command("X", ""),
                                  Command("Long", std::string(5000, 'l'))));
  EXPECT_THAT(Unread(), ElementsAre(0x4B, 0x45));
}

TEST_F(DecodeFramesTest, ABadFrameThatACommandFoundIsFoundAgain) {
  inside = [&] { EXPECT_FALSE(Decode(Bytes{'b', 'a', 'd', '!', '!'})); };
  EXPECT_FALSE(Decode(kX + kX));
  EXPECT_THAT(Take(), ElementsAre(Command("X", ""), Command("X", "")));
}

}  // namespace
}  // namespace launcher
