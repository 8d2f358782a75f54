#include "gamepipe/pipe_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>

#include "tests/support/growth.h"
#include "tests/windows/pipe_game_end.h"

namespace launcher {
namespace {

using test_support::PipeServer;
using testing::ElementsAre;
using testing::IsEmpty;
using vorn::PellmarCommand;

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");
const std::string kY = RawBytes(
    "KE\x0B\0\x01Y\x03\0"
    "1 2");

class PipeChannelTest : public testing::Test {
 protected:
  ~PipeChannelTest() override { PipeChannel::Destroy(std::move(channel)); }

  void Open() {
    ASSERT_EQ(channel->Open(kPipePath), DWORD{ERROR_SUCCESS});
    ASSERT_TRUE(game.Accept(kPatienceMs));
  }

  /// Pumps reads until one fails, and returns why.
  std::uint32_t ReadUntilFailure() const {
    std::uint32_t result = 0;
    StepUntil([&] { result = channel->PumpRead(); }, [&] { return result != 0; });
    return result;
  }

  /// Pumps reads until so many commands have come.
  std::vector<Command> Read(std::size_t count) {
    std::vector<Command> commands;
    std::uint32_t result = 0;
    StepUntil(
        [&] {
          result = channel->PumpRead();
          for (Command& command : handler.Take()) commands.push_back(std::move(command));
        },
        [&] { return commands.size() >= count || result != 0; });
    EXPECT_EQ(result, 0U);
    return commands;
  }

  RecordingHandler handler;
  std::shared_ptr<PipeChannel> channel = std::make_shared<PipeChannel>(handler);
  PipeServer game{kPipeName, 4096};
};

TEST_F(PipeChannelTest, IsClosedAtFirst) {
  EXPECT_FALSE(channel->IsOpened());
  EXPECT_FALSE(channel->HasPipe());
}

TEST_F(PipeChannelTest, OpensAPipe) {
  Open();
  EXPECT_TRUE(channel->IsOpened());
  EXPECT_TRUE(channel->HasPipe());
}

TEST_F(PipeChannelTest, OpenChannelsStayAsTheyAre) {
  Open();
  EXPECT_EQ(channel->Open(R"(\\.\pipe\launcher_no_such_pipe)"), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(channel->Send(PellmarCommand("X", "")));
  EXPECT_EQ(game.Read(kX.size(), kPatienceMs), kX);
}

TEST_F(PipeChannelTest, SaysWhyItCouldNotOpen) {
  EXPECT_EQ(channel->Open(R"(\\.\pipe\launcher_no_such_pipe)"), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_FALSE(channel->IsOpened());
  EXPECT_FALSE(channel->HasPipe());
  Open();
  const auto second = std::make_shared<PipeChannel>(handler);
  EXPECT_EQ(second->Open(kPipePath), DWORD{ERROR_PIPE_BUSY});
}

TEST_F(PipeChannelTest, SendsCommands) {
  Open();
  EXPECT_TRUE(channel->Send(PellmarCommand("X", "")));
  EXPECT_TRUE(channel->Send(PellmarCommand("Y", "1 2")));
  EXPECT_EQ(channel->PumpWrite(), 0U);
  EXPECT_EQ(game.Read(kX.size() + kY.size(), kPatienceMs), kX + kY);
}

TEST_F(PipeChannelTest, ReceivesCommands) {
  Open();
  ASSERT_TRUE(game.Write(kX + kY, kPatienceMs));
  EXPECT_THAT(Read(2), ElementsAre(Command("X", ""), Command("Y", "1 2")));
}

TEST_F(PipeChannelTest, AStepWithNothingToReadReturnsAtOnce) {
  Open();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(channel->PumpRead(), 0U);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(channel->PumpWrite(), 0U);
  EXPECT_THAT(handler.Take(), IsEmpty());
}

TEST_F(PipeChannelTest, WhatIsThereAlreadyComesWithALaterStep) {
  Open();
  ASSERT_TRUE(game.Write(kX, kPatienceMs));
  EXPECT_EQ(channel->PumpRead(), 0U);
  EXPECT_THAT(handler.Take(), IsEmpty());
  EXPECT_THAT(Read(1), ElementsAre(Command("X", "")));
}

TEST_F(PipeChannelTest, FailsWhenTheGameHasGone) {
  Open();
  EXPECT_EQ(channel->PumpRead(), 0U);
  game.Close();
  EXPECT_EQ(ReadUntilFailure(), DWORD{ERROR_BROKEN_PIPE});
  EXPECT_FALSE(channel->Send(PellmarCommand("X", "")));
}

TEST_F(PipeChannelTest, FailsToStartWhenTheGameHasGone) {
  Open();
  game.Close();
  EXPECT_EQ(ReadUntilFailure(), DWORD{ERROR_BROKEN_PIPE});
}

TEST_F(PipeChannelTest, FailsOnBytesThatAreNoFrame) {
  Open();
  ASSERT_TRUE(game.Write("hello", kPatienceMs));
  EXPECT_EQ(ReadUntilFailure(), DWORD{ERROR_INVALID_DATA});
}

TEST_F(PipeChannelTest, CommandsOfALazyGameQueueInOrder) {
  Open();
  std::string all;
  const std::string args(990, 'a');
  // 990 is 0x03DE, 1 + 990 + 7 is 0x03E6.
  const std::string frame = RawBytes("KE\xE6\x03\x01L\xDE\x03") + args;
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(channel->Send(PellmarCommand("L", args)));
    all += frame;
  }
  std::future<std::string> read =
      std::async(std::launch::async, [&] { return game.Read(all.size(), kPatienceMs); });
  EXPECT_TRUE(StepUntil(
      [&] { EXPECT_EQ(channel->PumpWrite(), 0U); },
      [&] { return read.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready; }));
  EXPECT_TRUE(read.get() == all);
}

TEST_F(PipeChannelTest, ClosingHangsUp) {
  Open();
  channel->ClosePipe();
  EXPECT_FALSE(channel->IsOpened());
  EXPECT_FALSE(channel->HasPipe());
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
  EXPECT_FALSE(game.Available());
  channel->ClosePipe();
}

// The system may write to these buffers and records until it has abandoned the operations.
TEST_F(PipeChannelTest, MayBeDestroyedWithOperationsOutstanding) {
  for (int i = 0; i < 50; ++i) {
    PipeServer lazyGame(LR"(\\.\pipe\launcher_windows_tests_lazy)", 64);
    auto outstanding = std::make_shared<PipeChannel>(handler);
    ASSERT_EQ(outstanding->Open(R"(\\.\pipe\launcher_windows_tests_lazy)"), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(outstanding->PumpRead(), 0U);
    EXPECT_TRUE(outstanding->Send(PellmarCommand("Big", std::string(50000, 'b'))));
    PipeChannel::Destroy(std::move(outstanding));
  }
}

TEST_F(PipeChannelTest, LeavesNothingBehindInTheEnd) {
  const auto openAndDestroy = [&] {
    PipeServer lazyGame(LR"(\\.\pipe\launcher_windows_tests_lazy)", 64);
    auto outstanding = std::make_shared<PipeChannel>(handler);
    ASSERT_EQ(outstanding->Open(R"(\\.\pipe\launcher_windows_tests_lazy)"), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(outstanding->PumpRead(), 0U);
    EXPECT_TRUE(outstanding->Send(PellmarCommand("Big", std::string(50000, 'b'))));
    const std::weak_ptr<PipeChannel> kept = outstanding;
    PipeChannel::Destroy(std::move(outstanding));
    // Every other one that ends frees those which the system is done with.
    ASSERT_TRUE(StepUntil([&] { PipeChannel::Destroy(std::make_shared<PipeChannel>(handler)); },
                          [&] { return kept.expired(); }));
  };
  const test_support::Growth growth = test_support::GrowthOf(openAndDestroy);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.blocks, 0);
}

}  // namespace
}  // namespace launcher
