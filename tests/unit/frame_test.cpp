// The frames of a game's pipe, byte by byte.

#include "gamepipe/frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
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
  Bytes out;
  EncodeFrame(PellmarCommand(name, args), out);
  return out;
}

// The commands that a decoder hands out, in order.
class Recorder {
 public:
  Recorder() : handler(std::make_unique<RecordingCommand>(*this)) {}

  bool Decode() { return DecodeFrames(handler, received); }
  bool Decode(const Bytes& bytes) {
    received.Append(bytes);
    return Decode();
  }
  Commands Take() { return std::exchange(commands, {}); }
  Bytes Unread() const { return {received.Unread().begin(), received.Unread().end()}; }

  ReceiveBuffer received;
  CommandHandler handler;
  // Run inside each command.
  std::function<void()> inside;

 private:
  class RecordingCommand final : public PellmarCommand {
   public:
    explicit RecordingCommand(Recorder& recorder) : PellmarCommand("", ""), owner(recorder) {}
    void execute(const std::string& receivedName, const std::string& receivedArgs) override {
      owner.commands.emplace_back(receivedName, receivedArgs);
      if (owner.inside) owner.inside();
    }

   private:
    Recorder& owner;
  };

  Commands commands;
};

TEST(EncodeFrame, NameWithoutArguments) { EXPECT_EQ(Encoded("X", ""), kX); }

TEST(EncodeFrame, NameAndArguments) { EXPECT_EQ(Encoded("JoinGame", "a b c"), kJoinGame); }

TEST(EncodeFrame, NeitherNameNorArguments) { EXPECT_EQ(Encoded("", ""), kNothing); }

TEST(EncodeFrame, ReplacesWhatWasThere) {
  Bytes out{1, 2, 3};
  EncodeFrame(PellmarCommand("X", ""), out);
  EXPECT_EQ(out, kX);
}

TEST(EncodeFrame, LengthsAreLittleEndian) {
  // 300 is 0x012C, 1 + 300 + 7 is 0x0134.
  const Bytes header{0x4B, 0x45, 0x34, 0x01, 0x01, 0x58, 0x2C, 0x01};
  EXPECT_EQ(Encoded("X", std::string(300, 'a')), header + Bytes(300, 0x61));
}

TEST(EncodeFrame, WritesAnyBytesWhole) {
  EXPECT_EQ(Encoded(std::string("\0\xFF", 2), std::string("\xC3\xA4\0", 3)),
            (Bytes{0x4B, 0x45, 0x0C, 0x00, 0x02, 0x00, 0xFF, 0x03, 0x00, 0xC3, 0xA4, 0x00}));
}

TEST(EncodeFrame, LargestLengthsThatFit) {
  // 255 + 100 + 7 is 0x016A.
  EXPECT_EQ(Encoded(std::string(255, 'n'), std::string(100, 'a')),
            (Bytes{0x4B, 0x45, 0x6A, 0x01, 0xFF} + Bytes(255, 0x6E) + Bytes{0x64, 0x00} +
             Bytes(100, 0x61)));
  // 1 + 65527 + 7 is 0xFFFF, 65527 is 0xFFF7.
  EXPECT_EQ(Encoded("X", std::string(65527, 'a')),
            (Bytes{0x4B, 0x45, 0xFF, 0xFF, 0x01, 0x58, 0xF7, 0xFF} + Bytes(65527, 0x61)));
}

TEST(EncodeFrame, LongNamesKeepTheLowByteOfTheirLength) {
  // 300 is 0x012C, 300 + 0 + 7 is 0x0133. All bytes of the name are there.
  EXPECT_EQ(Encoded(std::string(300, 'n'), ""),
            (Bytes{0x4B, 0x45, 0x33, 0x01, 0x2C} + Bytes(300, 0x6E) + Bytes{0x00, 0x00}));
  EXPECT_EQ(Encoded(std::string(256, 'n'), ""),
            (Bytes{0x4B, 0x45, 0x07, 0x01, 0x00} + Bytes(256, 0x6E) + Bytes{0x00, 0x00}));
}

TEST(EncodeFrame, TotalLengthWrapsAt16Bits) {
  // 1 + 65528 + 7 is 0x10000, 65528 is 0xFFF8.
  EXPECT_EQ(Encoded("X", std::string(65528, 'a')),
            (Bytes{0x4B, 0x45, 0x00, 0x00, 0x01, 0x58, 0xF8, 0xFF} + Bytes(65528, 0x61)));
  // 1 + 65535 + 7 is 0x10007.
  EXPECT_EQ(Encoded("X", std::string(65535, 'a')),
            (Bytes{0x4B, 0x45, 0x07, 0x00, 0x01, 0x58, 0xFF, 0xFF} + Bytes(65535, 0x61)));
}

TEST(EncodeFrame, LongArgumentsKeepTheLow16BitsOfTheirLength) {
  // 65541 is 0x10005, 1 + 65541 + 7 is 0x1000D.
  EXPECT_EQ(Encoded("X", std::string(65541, 'a')),
            (Bytes{0x4B, 0x45, 0x0D, 0x00, 0x01, 0x58, 0x05, 0x00} + Bytes(65541, 0x61)));
}

TEST(AppendFrame, PutsTheFrameBehindWhatIsThere) {
  Bytes out;
  AppendFrame(PellmarCommand("X", ""), out);
  EXPECT_EQ(out, kX);
  AppendFrame(PellmarCommand("JoinGame", "a b c"), out);
  AppendFrame(PellmarCommand("", ""), out);
  EXPECT_EQ(out, kX + kJoinGame + kNothing);
}

TEST(ReceiveBuffer, KeepsWhatWasNotConsumed) {
  ReceiveBuffer buffer;
  EXPECT_THAT(buffer.Unread(), IsEmpty());
  buffer.Append(Bytes{1, 2, 3});
  EXPECT_THAT(buffer.Unread(), ElementsAre(1, 2, 3));
  buffer.Consume(2);
  EXPECT_THAT(buffer.Unread(), ElementsAre(3));
  buffer.Append(Bytes{4, 5});
  EXPECT_THAT(buffer.Unread(), ElementsAre(3, 4, 5));
  buffer.Consume(1);
  buffer.Consume(1);
  EXPECT_THAT(buffer.Unread(), ElementsAre(5));
  buffer.Consume(1);
  EXPECT_THAT(buffer.Unread(), IsEmpty());
  buffer.Append(Bytes{6});
  buffer.Append(Bytes{});
  EXPECT_THAT(buffer.Unread(), ElementsAre(6));
}

TEST(DecodeFrames, NothingReceived) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode());
  EXPECT_THAT(recorder.Take(), IsEmpty());
}

TEST(DecodeFrames, OneFrame) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(kX));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "")));
  EXPECT_THAT(recorder.Unread(), IsEmpty());

  EXPECT_TRUE(recorder.Decode(kJoinGame));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("JoinGame", "a b c")));

  EXPECT_TRUE(recorder.Decode(kNothing));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("", "")));
}

TEST(DecodeFrames, FramesBackToBackInOrder) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(kJoinGame + kX + kNothing + kX));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("JoinGame", "a b c"), Command("X", ""),
                                           Command("", ""), Command("X", "")));
  EXPECT_THAT(recorder.Unread(), IsEmpty());
}

TEST(DecodeFrames, ManyFrames) {
  Bytes stream;
  for (int i = 0; i < 20000; ++i) stream.insert(stream.end(), kX.begin(), kX.end());
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(stream));
  EXPECT_EQ(recorder.Take(), Commands(20000, Command("X", "")));
}

TEST(DecodeFrames, KeepsAPartialFrameBehindAWholeOne) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(kX + Bytes{0x4B, 0x45, 0x14}));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "")));
  EXPECT_THAT(recorder.Unread(), ElementsAre(0x4B, 0x45, 0x14));
}

TEST(DecodeFrames, FourBytesDecodeNothingAndStay) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0x08, 0x00}));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_THAT(recorder.Unread(), ElementsAre(0x4B, 0x45, 0x08, 0x00));
  EXPECT_TRUE(recorder.Decode(Bytes{0x01, 0x58, 0x00, 0x00}));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "")));
}

TEST(DecodeFrames, SplitAtEveryPosition) {
  const Bytes stream = kX + kJoinGame + kNothing + kJoinGame;
  const Commands all{{"X", ""}, {"JoinGame", "a b c"}, {"", ""}, {"JoinGame", "a b c"}};
  // Where each of the four frames is complete.
  const std::vector<std::size_t> ends{8, 28, 35, 55};
  ASSERT_EQ(stream.size(), 55U);
  for (std::size_t split = 0; split <= stream.size(); ++split) {
    SCOPED_TRACE(split);
    const auto middle = stream.begin() + static_cast<std::ptrdiff_t>(split);
    Recorder recorder;
    EXPECT_TRUE(recorder.Decode(Bytes(stream.begin(), middle)));
    Commands commands = recorder.Take();
    std::size_t complete = 0;
    while (complete < ends.size() && ends[complete] <= split) ++complete;
    EXPECT_EQ(commands.size(), complete);
    EXPECT_TRUE(recorder.Decode(Bytes(middle, stream.end())));
    for (Command& command : recorder.Take()) commands.push_back(std::move(command));
    EXPECT_EQ(commands, all);
    EXPECT_THAT(recorder.Unread(), IsEmpty());
  }
}

TEST(DecodeFrames, OneByteAtATime) {
  const Bytes stream = kX + kJoinGame + kNothing;
  Recorder recorder;
  std::vector<std::size_t> completedAt;
  for (std::size_t i = 0; i < stream.size(); ++i) {
    EXPECT_TRUE(recorder.Decode(Bytes{stream[i]}));
    if (!recorder.Take().empty()) completedAt.push_back(i + 1);
  }
  EXPECT_THAT(completedAt, ElementsAre(8, 28, 35));
}

TEST(DecodeFrames, AFrameLongerThanARead) {
  // 10000 is 0x2710, 3 + 10000 + 7 is 0x271A.
  const Bytes stream =
      Bytes{0x4B, 0x45, 0x1A, 0x27, 0x03, 'M', 'a', 'p', 0x10, 0x27} + Bytes(10000, 'm') + kX;
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes(stream.begin(), stream.begin() + 4096)));
  EXPECT_TRUE(recorder.Decode(Bytes(stream.begin() + 4096, stream.begin() + 8192)));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_TRUE(recorder.Decode(Bytes(stream.begin() + 8192, stream.end())));
  EXPECT_THAT(recorder.Take(),
              ElementsAre(Command("Map", std::string(10000, 'm')), Command("X", "")));
}

TEST(DecodeFrames, LengthsAreLittleEndianAndUnsigned) {
  // Name of 200 bytes, arguments of 0x0280 bytes: 200 + 640 + 7 is 0x034F.
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0x4F, 0x03, 0xC8} + Bytes(200, 'n') +
                              Bytes{0x80, 0x02} + Bytes(640, 'a')));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command(std::string(200, 'n'), std::string(640, 'a'))));

  // Name of 255 bytes.
  EXPECT_TRUE(
      recorder.Decode(Bytes{0x4B, 0x45, 0x06, 0x01, 0xFF} + Bytes(255, 'n') + Bytes{0x00, 0x00}));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command(std::string(255, 'n'), "")));
}

TEST(DecodeFrames, LeavesItsMemoryToTheNextTexts) {
  Recorder recorder;
  recorder.Decode(Encoded(std::string(100, 'n'), std::string(200, 'a')));
  const FrameTexts texts = recorder.received.TakeTexts();
  EXPECT_GE(texts.name.capacity(), 100U);
  EXPECT_GE(texts.args.capacity(), 200U);
}

TEST(DecodeFrames, HandsOutAnyBytes) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(
      Bytes{0x4B, 0x45, 0x0C, 0x00, 0x02, 0x00, 0xFF, 0x03, 0x00, 0x4B, 0x45, 0x00}));
  EXPECT_THAT(recorder.Take(),
              ElementsAre(Command(std::string("\0\xFF", 2), std::string("KE\0", 3))));
}

TEST(DecodeFrames, RejectsAnythingThatDoesNotBeginWithTheMagic) {
  const Bytes bad[] = {
      {0x4C, 0x45, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // first byte
      {0x4B, 0x46, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // second byte
      {0x45, 0x4B, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // exchanged
      {0x6B, 0x65, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00},  // lower case
      {0x00, 0x4B, 0x45, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00}, {0x00, 0x00, 0x00, 0x00, 0x00},
  };
  for (const Bytes& bytes : bad) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    Recorder recorder;
    EXPECT_FALSE(recorder.Decode(bytes + kX));
    EXPECT_THAT(recorder.Take(), IsEmpty());
    EXPECT_EQ(recorder.Unread(), bytes + kX);
    // There is no way back into the stream.
    EXPECT_FALSE(recorder.Decode(kX));
    EXPECT_THAT(recorder.Take(), IsEmpty());
  }
}

TEST(DecodeFrames, RejectsABadFrameOnlyAfterTheGoodOnesBefore) {
  Recorder recorder;
  EXPECT_FALSE(recorder.Decode(kX + kJoinGame + Bytes{'X', 'X', 'X', 'X', 'X'} + kX));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", ""), Command("JoinGame", "a b c")));
}

TEST(DecodeFrames, TheMagicIsLookedAtWithTheFifthByte) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{'X', 'X', 'X', 'X'}));
  EXPECT_FALSE(recorder.Decode(Bytes{'X'}));
}

TEST(DecodeFrames, WaitsForTheTotalLengthEvenWhenTheInnerLengthsAreSatisfied) {
  // Total length 12 over an inner length of 8.
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0x0C, 0x00, 0x01, 0x58, 0x00, 0x00}));
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0x08}));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_TRUE(recorder.Decode(Bytes{0x00}));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "")));
  // The frame ended where its inner lengths said.
  EXPECT_THAT(recorder.Unread(), ElementsAre(0x4B, 0x45, 0x08, 0x00));
  EXPECT_TRUE(recorder.Decode(Bytes{0x01, 0x59, 0x00, 0x00}));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("Y", "")));
}

TEST(DecodeFrames, WaitsForTheLargestTotalLength) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0xFF, 0xFF, 0x01, 0x58, 0x00, 0x00} +
                              Bytes(65535 - 8 - 1, 0x00)));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_EQ(recorder.Unread().size(), 65534U);
  // With the last byte the frame of 8 bytes is taken, and what follows it is no frame.
  EXPECT_FALSE(recorder.Decode(Bytes{0x00}));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "")));
}

TEST(DecodeFrames, ATooSmallTotalLengthChangesNothing) {
  for (const std::uint8_t total : Bytes{0, 1, 5, 7, 8}) {
    SCOPED_TRACE(static_cast<int>(total));
    Recorder recorder;
    Bytes frame = kJoinGame;
    frame.at(2) = total;
    EXPECT_TRUE(recorder.Decode(frame + kX));
    EXPECT_THAT(recorder.Take(), ElementsAre(Command("JoinGame", "a b c"), Command("X", "")));
  }
}

// A game may name lengths that reach past what was received. The buffers below are as long as what
// they hold, so that a sanitizer sees a byte too many.
TEST(DecodeFrames, InnerLengthsBeyondTheTotalWaitForTheirBytes) {
  Bytes frame = kJoinGame;
  frame.at(2) = 0x05;
  for (std::size_t have = 5; have < frame.size(); ++have) {
    SCOPED_TRACE(have);
    const auto middle = frame.begin() + static_cast<std::ptrdiff_t>(have);
    Recorder recorder;
    EXPECT_TRUE(recorder.Decode(Bytes(frame.begin(), middle)));
    EXPECT_THAT(recorder.Take(), IsEmpty());
    EXPECT_EQ(recorder.Unread(), Bytes(frame.begin(), middle));
    EXPECT_TRUE(recorder.Decode(Bytes(middle, frame.end())));
    EXPECT_THAT(recorder.Take(), ElementsAre(Command("JoinGame", "a b c")));
  }
}

TEST(DecodeFrames, NameBeyondWhatWasReceivedWaits) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0x08, 0x00, 0xFF, 0x58, 0x00, 0x00}));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_EQ(recorder.Unread().size(), 8U);
}

TEST(DecodeFrames, ArgumentsBeyondWhatWasReceivedWait) {
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes{0x4B, 0x45, 0x08, 0x00, 0x01, 0x58, 0xFF, 0xFF}));
  EXPECT_TRUE(recorder.Decode(Bytes(65534, 'a')));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_TRUE(recorder.Decode(Bytes(1, 'a')));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", std::string(65535, 'a'))));
}

TEST(DecodeFrames, AWrappedTotalLengthIsNoObstacle) {
  const Bytes frame = Encoded("X", std::string(65535, 'a')) + kJoinGame;
  Recorder recorder;
  EXPECT_TRUE(recorder.Decode(Bytes(frame.begin(), frame.begin() + 60000)));
  EXPECT_THAT(recorder.Take(), IsEmpty());
  EXPECT_TRUE(recorder.Decode(Bytes(frame.begin() + 60000, frame.end())));
  EXPECT_THAT(recorder.Take(),
              ElementsAre(Command("X", std::string(65535, 'a')), Command("JoinGame", "a b c")));
}

TEST(DecodeFrames, WhatTooLongArgumentsLeaveBehindIsNoFrame) {
  // The frame says 5 bytes of arguments; the other 65536 are read as the next frame.
  Recorder recorder;
  EXPECT_FALSE(recorder.Decode(Encoded("X", std::string(65541, 'a'))));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "aaaaa")));
}

TEST(DecodeFrames, HandsRegisteredCommandsTheirOwn) {
  class Counter final : public PellmarCommand {
   public:
    explicit Counter(int& counted) : PellmarCommand("", ""), count(counted) {}
    void execute(const std::string&, const std::string& receivedArgs) override {
      EXPECT_EQ(receivedArgs, "a b c");
      ++count;
    }

   private:
    int& count;
  };
  int count = 0;
  Recorder recorder;
  recorder.handler.commands["JoinGame"] = std::make_unique<Counter>(count);
  EXPECT_TRUE(recorder.Decode(kJoinGame + kX + kJoinGame));
  EXPECT_EQ(count, 2);
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", "")));
}

TEST(DecodeFrames, GoesOnWithoutATarget) {
  CommandHandler handler(nullptr);
  ReceiveBuffer received;
  received.Append(kX + kJoinGame);
  EXPECT_TRUE(DecodeFrames(handler, received));
  EXPECT_THAT(received.Unread(), IsEmpty());
}

TEST(DecodeFrames, AFrameIsRemovedBeforeItsCommandRuns) {
  Recorder recorder;
  std::vector<std::size_t> left;
  recorder.inside = [&] { left.push_back(recorder.received.Unread().size()); };
  EXPECT_TRUE(recorder.Decode(kX + kJoinGame + kX));
  EXPECT_THAT(left, ElementsAre(28, 8, 0));
}

TEST(DecodeFrames, ACommandMayReceiveMore) {
  Recorder recorder;
  bool first = true;
  recorder.inside = [&] {
    if (std::exchange(first, false)) {
      recorder.received.Append(kNothing);
    }
  };
  EXPECT_TRUE(recorder.Decode(kJoinGame + kX));
  EXPECT_THAT(recorder.Take(),
              ElementsAre(Command("JoinGame", "a b c"), Command("X", ""), Command("", "")));
}

TEST(DecodeFrames, ACommandMayReceiveAndDecodeMore) {
  Recorder recorder;
  bool first = true;
  recorder.inside = [&] {
    if (std::exchange(first, false)) {
      // Longer than the buffer, so that it moves.
      EXPECT_TRUE(recorder.Decode(Encoded("Long", std::string(5000, 'l')) + Bytes{0x4B, 0x45}));
    }
  };
  EXPECT_TRUE(recorder.Decode(kJoinGame + kX));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("JoinGame", "a b c"), Command("X", ""),
                                           Command("Long", std::string(5000, 'l'))));
  EXPECT_THAT(recorder.Unread(), ElementsAre(0x4B, 0x45));
}

TEST(DecodeFrames, ABadFrameThatACommandFoundIsFoundAgain) {
  Recorder recorder;
  bool first = true;
  recorder.inside = [&] {
    if (std::exchange(first, false)) {
      EXPECT_FALSE(recorder.Decode(Bytes{'b', 'a', 'd', '!', '!'}));
    }
  };
  EXPECT_FALSE(recorder.Decode(kX + kX));
  EXPECT_THAT(recorder.Take(), ElementsAre(Command("X", ""), Command("X", "")));
}

}  // namespace
}  // namespace launcher
