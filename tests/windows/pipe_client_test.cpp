// The library's end of a game's pipe, against a real one. What each answer of the system leads to is
// tested through the DLL.

#include "gamepipe/pipe_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/growth.h"
#include "tests/support/process_snapshot.h"
#include "tests/windows/pipe_game_end.h"

namespace launcher {
namespace {

using test_support::PipeServer;
using testing::ElementsAre;
using vorn::PellmarCommand;

constexpr char kNoPipe[] = R"(\\.\pipe\launcher_no_such_pipe)";

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");

// Keeps what it is given.
class Recorder final : public PellmarCommand {
 public:
  explicit Recorder(std::vector<std::string>& received) : PellmarCommand("", ""), names(received) {}
  void execute(const std::string& receivedName, const std::string&) override {
    names.push_back(receivedName);
  }

 private:
  std::vector<std::string>& names;
};

class PipeClientTest : public testing::Test {
 protected:
  std::vector<std::string> received;
  vorn::CommandHandler handler{std::make_unique<Recorder>(received)};
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

TEST_F(PipeClientTest, PumpsBothWaysUntilTheGameGoes) {
  ASSERT_TRUE(client.Open());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(client.Pump(), 0U);
  client.Send(PellmarCommand("X", ""));
  EXPECT_EQ(game.Read(kX.size(), kPatienceMs), kX);
  ASSERT_TRUE(game.Write(kX, kPatienceMs));
  EXPECT_TRUE(StepUntil([&] { EXPECT_EQ(client.Pump(), 0U); }, [&] { return !received.empty(); }));
  EXPECT_THAT(received, ElementsAre("X"));

  game.Close();
  std::uint32_t result = 0;
  EXPECT_TRUE(StepUntil([&] { result = client.Pump(); }, [&] { return result != 0; }));
  EXPECT_EQ(result, DWORD{ERROR_BROKEN_PIPE});
  EXPECT_EQ(client.GetLastErrorCode(), DWORD{ERROR_BROKEN_PIPE});
  // The connection is its owner's to end.
  EXPECT_TRUE(client.IsConnected());
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

TEST_F(PipeClientTest, KeepsNoHandles) {
  const std::size_t before = test_support::CountHandles();
  {
    PipeClient unused(kPipePath, handler);
    PipeClient refused(kNoPipe, handler);
    EXPECT_FALSE(refused.Open());
    PipeClient opened(kPipePath, handler);
    EXPECT_TRUE(opened.Open());
    EXPECT_EQ(opened.Pump(), 0U);
    // Two events each, and one pipe.
    EXPECT_EQ(test_support::CountHandles(), before + 7);
  }
  EXPECT_EQ(test_support::CountHandles(), before);
}

// The system may write to the buffers and records of a channel until it has abandoned its operations.
TEST_F(PipeClientTest, OutstandingOperationsLeaveNothingInTheEnd) {
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
