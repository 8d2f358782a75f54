// The library's end of a game's pipe, against a real one. What each answer of the system leads to is
// tested through the DLL.

#include "gamepipe/pipe_client.h"

#include <gtest/gtest.h>

#include "tests/windows/pipe_game_end.h"

namespace launcher {
namespace {

using test_support::PipeServer;
using vorn::PellmarCommand;

constexpr char kNoPipe[] = R"(\\.\pipe\launcher_no_such_pipe)";

class PipeClientTest : public testing::Test {
 protected:
  vorn::CommandHandler handler{nullptr};
  PipeServer game{kPipeName};
  PipeClient client{kPipePath, handler};
};

TEST_F(PipeClientTest, OpensOnce) {
  EXPECT_FALSE(client.IsConnected());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
  EXPECT_TRUE(client.Open());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  // The one instance is taken, so a second attempt would fail.
  EXPECT_TRUE(client.Open());
  EXPECT_TRUE(client.IsConnected());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
}

TEST_F(PipeClientTest, KeepsTheReasonOfAFailedAttempt) {
  PipeClient none(kNoPipe, handler);
  EXPECT_FALSE(none.Open());
  EXPECT_FALSE(none.IsConnected());
  EXPECT_EQ(none.GetLastErrorCode(), DWORD{ERROR_FILE_NOT_FOUND});

  ASSERT_TRUE(client.Open());
  PipeClient second(kPipePath, handler);
  EXPECT_FALSE(second.Open());
  EXPECT_EQ(second.GetLastErrorCode(), DWORD{ERROR_PIPE_BUSY});
  const PipeServer secondGame(kPipeName);
  EXPECT_TRUE(second.Open());
  EXPECT_EQ(second.GetLastErrorCode(), 0U);
}

TEST_F(PipeClientTest, WithoutAConnectionNothingMoves) {
  EXPECT_EQ(client.Pump(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  EXPECT_EQ(client.GetLastErrorCode(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  client.Send(PellmarCommand("X", ""));
  ASSERT_TRUE(client.Open());
  EXPECT_EQ(client.GetLastErrorCode(), 0U);
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(client.Pump(), 0U);
  EXPECT_EQ(game.Available(), DWORD{0});

  client.Close();
  EXPECT_FALSE(client.IsConnected());
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
  client.Close();
  EXPECT_EQ(client.Pump(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  client.Send(PellmarCommand("X", ""));
}

}  // namespace
}  // namespace launcher
