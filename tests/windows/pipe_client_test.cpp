#include "gamepipe/pipe_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/process_snapshot.h"
#include "tests/windows/pipe_game_end.h"

namespace launcher {
namespace {

using test_support::PipeServer;
using testing::ElementsAre;
using vorn::PellmarCommand;

constexpr char kNoPipe[] = R"(\\.\pipe\launcher_no_such_pipe)";

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");

class PipeClientTest : public testing::Test {
 protected:
  RecordingHandler handler;
  PipeServer game{kPipeName};
  PipeClient client{kPipePath, handler};
};

TEST_F(PipeClientTest, IsNotConnectedAtFirst) {
  EXPECT_FALSE(client.IsConnected());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
  EXPECT_FALSE(game.Accept(0));
}

TEST_F(PipeClientTest, Opens) {
  EXPECT_TRUE(client.Open());
  EXPECT_TRUE(client.IsConnected());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
  EXPECT_TRUE(game.Accept(kPatienceMs));
}

TEST_F(PipeClientTest, OpeningAgainChangesNothing) {
  ASSERT_TRUE(client.Open());
  // The one instance is taken, so a second attempt would fail.
  EXPECT_TRUE(client.Open());
  EXPECT_TRUE(client.IsConnected());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
}

TEST_F(PipeClientTest, FailsWithoutAPipe) {
  PipeClient other(kNoPipe, handler);
  EXPECT_FALSE(other.Open());
  EXPECT_FALSE(other.IsConnected());
  EXPECT_EQ(other.GetLastErrorCode(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(PipeClientTest, FailsWhenThePipeIsTaken) {
  ASSERT_TRUE(client.Open());
  PipeClient other(kPipePath, handler);
  EXPECT_FALSE(other.Open());
  EXPECT_EQ(other.GetLastErrorCode(), DWORD{ERROR_PIPE_BUSY});
}

TEST_F(PipeClientTest, AFailedAttemptMayBeRepeated) {
  ASSERT_TRUE(client.Open());
  PipeClient other(kPipePath, handler);
  EXPECT_FALSE(other.Open());
  const PipeServer second(kPipeName);
  EXPECT_TRUE(other.Open());
  EXPECT_EQ(other.GetLastErrorCode(), 0U);
}

TEST_F(PipeClientTest, PumpingWithoutAConnectionFails) {
  EXPECT_EQ(client.Pump(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  EXPECT_EQ(client.GetLastErrorCode(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  EXPECT_FALSE(game.Accept(0));
}

TEST_F(PipeClientTest, PumpsBothWays) {
  ASSERT_TRUE(client.Open());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(client.Pump(), 0U);
  client.Send(PellmarCommand("X", ""));
  EXPECT_EQ(game.Read(kX.size(), kPatienceMs), kX);
  ASSERT_TRUE(game.Write(kX, kPatienceMs));
  std::vector<Command> commands;
  EXPECT_TRUE(StepUntil(
      [&] {
        EXPECT_EQ(client.Pump(), 0U);
        commands = handler.Take();
      },
      [&] { return !commands.empty(); }));
  EXPECT_THAT(commands, ElementsAre(Command("X", "")));
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
}

TEST_F(PipeClientTest, KeepsTheReasonOfAFailedStep) {
  ASSERT_TRUE(client.Open());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  game.Close();
  std::uint32_t result = 0;
  EXPECT_TRUE(StepUntil([&] { result = client.Pump(); }, [&] { return result != 0; }));
  EXPECT_EQ(result, DWORD{ERROR_BROKEN_PIPE});
  EXPECT_EQ(client.GetLastErrorCode(), DWORD{ERROR_BROKEN_PIPE});
  // The connection is its owner's to end.
  EXPECT_TRUE(client.IsConnected());
}

TEST_F(PipeClientTest, KeepsTheLatestResult) {
  EXPECT_EQ(client.Pump(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  ASSERT_TRUE(client.Open());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
  EXPECT_EQ(client.Pump(), 0U);
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
}

TEST_F(PipeClientTest, SendsNothingWithoutAConnection) {
  client.Send(PellmarCommand("X", ""));
  ASSERT_TRUE(client.Open());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(client.Pump(), 0U);
  EXPECT_EQ(game.Available(), DWORD{0});
}

TEST_F(PipeClientTest, ClosesOnce) {
  ASSERT_TRUE(client.Open());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(client.Pump(), 0U);
  client.Close();
  EXPECT_FALSE(client.IsConnected());
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
  client.Close();
  EXPECT_EQ(client.Pump(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  client.Send(PellmarCommand("X", ""));
}

TEST_F(PipeClientTest, ItsEndClosesThePipe) {
  {
    PipeClient other(kPipePath, handler);
    ASSERT_TRUE(other.Open());
    ASSERT_TRUE(game.Accept(kPatienceMs));
  }
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
}

TEST_F(PipeClientTest, KeepsNoHandles) {
  const std::size_t before = test_support::CountHandles();
  {
    PipeClient unused(kPipePath, handler);
    PipeClient refused(kNoPipe, handler);
    EXPECT_FALSE(refused.Open());
    PipeClient closed(kPipePath, handler);
    EXPECT_TRUE(closed.Open());
    EXPECT_EQ(closed.Pump(), 0U);
    // Two events each, and one pipe.
    EXPECT_EQ(test_support::CountHandles(), before + 7);
    closed.Close();
    EXPECT_EQ(test_support::CountHandles(), before + 4);
  }
  EXPECT_EQ(test_support::CountHandles(), before);
}

}  // namespace
}  // namespace launcher
