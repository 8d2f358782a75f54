// An application with a game's pipe: what a host can reach only through a class of its own.

#include "gamepipe/pellmar_app_base.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "gamepipe/generic_pellmar_command.h"
#include "tests/support/log_of.h"
#include "tests/support/slot_of.h"
#include "tests/support/text.h"
#include "tests/windows/pipe_game_end.h"
#include "tests/windows/recording_sink.h"

namespace launcher {
namespace {

using test_support::LogOf;
using test_support::PipeServer;
using test_support::PointerText;
using testing::ElementsAre;

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");

class TestApp final : public PellmarAppBase {
 public:
  using PellmarAppBase::client;
  using PellmarAppBase::PellmarAppBase;
  using PellmarAppBase::shuttingDown;

  void QueueEvent(EventPtr event) override {
    ++queueCount;
    PellmarAppBase::QueueEvent(std::move(event));
  }

  int queueCount = 0;
};

// After the destructors, in this order.
TEST(PellmarSlots, AreWhereTheClassesOfGamesHaveThem) {
  EXPECT_EQ(test_support::SlotOf(&PellmarAppBase::QueueEvent), 2U);
  EXPECT_EQ(test_support::SlotOf(&vorn::PellmarCommand::isQuery), 2U);
  EXPECT_EQ(test_support::SlotOf(&vorn::PellmarCommand::isReply), 3U);
  EXPECT_EQ(test_support::SlotOf(&vorn::PellmarCommand::execute), 4U);
}

class PellmarAppBaseTest : public testing::Test {
 protected:
  RecordingSink sink;
  TestApp app{sink, kPipeName, L"TEST-GAME"};
};

TEST_F(PellmarAppBaseTest, ConnectingWhenConnectedDoesNotTouchThePipe) {
  EXPECT_EQ(LogOf([&] { EXPECT_FALSE(app.Connect()); }), "");
  EXPECT_EQ(app.client, nullptr);
  PipeServer game(kPipeName);
  EXPECT_EQ(LogOf([&] { EXPECT_TRUE(app.Connect()); }), "");
  const auto before = app.client;
  // Not even when the client has lost its pipe.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(LogOf([&] { EXPECT_TRUE(app.Connect()); }),
              "PellmarAppBase::Connect: Instance is running, we are done here\n");
    EXPECT_EQ(app.client, before);
    app.client->Close();
  }
  EXPECT_THAT(sink.Take(), ElementsAre("TEST-GAME READY"));
}

TEST_F(PellmarAppBaseTest, AClientThatIsNotConnectedIsALostGame) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  app.client->Close();
  const std::shared_ptr<PipeClient> lost = app.client;
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 00000426\n");
  EXPECT_EQ(lost->GetLastErrorCode(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  EXPECT_THAT(sink.Take(), ElementsAre("TEST-GAME READY", "TEST-GAME GAMEISGONE"));
}

TEST_F(PellmarAppBaseTest, ShuttingDownStopsPolling) {
  const std::string line =
      "PellmarAppBase::PollPellmar: We are about to shutdown, doing nothing...\n";
  PipeServer game(kPipeName);
  app.shuttingDown = true;
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }), line);
  EXPECT_EQ(app.client, nullptr);
  ASSERT_TRUE(app.Connect());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  ASSERT_TRUE(game.Write(kX, kPatienceMs));
  game.Close();
  EXPECT_EQ(LogOf([&] {
              for (int i = 0; i < 3; ++i) app.PollPellmar();
            }),
            line + line + line);
  EXPECT_THAT(sink.Take(), ElementsAre("TEST-GAME READY"));
  EXPECT_NE(app.client, nullptr);
}

TEST_F(PellmarAppBaseTest, DisconnectingHangsUpWithoutAnEvent) {
  EXPECT_EQ(LogOf([&] { app.Disconnect(); }), "");
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  const std::string client = PointerText(app.client.get());
  EXPECT_EQ(LogOf([&] { app.Disconnect(); }), "PellmarAppBase::Disconnect: Deleting PipeClient " +
                                                  client + " from instance " + PointerText(&app) +
                                                  "\n");
  EXPECT_EQ(app.client, nullptr);
  EXPECT_THAT(sink.Take(), ElementsAre("TEST-GAME READY"));
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
  const PipeServer next(kPipeName);
  EXPECT_TRUE(app.Connect());
}

TEST_F(PellmarAppBaseTest, ACommandIsLoggedAndQueued) {
  GenericPellmarCommand command(app, L"TEST-GAME");
  EXPECT_EQ(LogOf([&] { command.execute("Joined", "Aldo  %s\xFF"); }),
            "GenericPellmarCommand::execute: args Aldo  %s\xFF\n"
            "GenericPellmarCommand::execute: Posting event to instance " +
                PointerText(static_cast<PellmarAppBase*>(&app)) + "\n");
  EXPECT_EQ(app.queueCount, 1);
  EXPECT_THAT(sink.Take(), ElementsAre("TEST-GAME queued Joined Aldo"));
}

}  // namespace
}  // namespace launcher
