#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "gamepipe/pellmar_app_base.h"
#include "tests/support/log_of.h"
#include "tests/support/process_snapshot.h"
#include "tests/support/slot_of.h"
#include "tests/support/text.h"
#include "tests/windows/pipe_game_end.h"

namespace launcher {
namespace {

using test_support::LogOf;
using test_support::PipeServer;
using test_support::PointerText;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");

using Texts = std::vector<std::wstring>;

// Takes what an application posts.
class RecordingSink final : public EventSink {
 public:
  void PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                 const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3, const wchar_t* arg4,
                 const wchar_t* arg5, const wchar_t* arg6, const wchar_t* arg7) override {
    posted.push_back({source, name, arg0});
    for (const wchar_t* const further : {arg1, arg2, arg3, arg4, arg5, arg6, arg7}) {
      EXPECT_EQ(further, nullptr);
    }
  }
  void QueueEvent(EventPtr) override { ADD_FAILURE() << "commands go to the application"; }

  std::vector<Texts> Take() { return std::exchange(posted, {}); }

 private:
  std::vector<Texts> posted;
};

class TestApp final : public PellmarAppBase {
 public:
  using PellmarAppBase::client;
  using PellmarAppBase::PellmarAppBase;
  using PellmarAppBase::shuttingDown;

  void QueueEvent(EventPtr event) override { events.push_back(std::move(event)); }

  std::vector<EventPtr> events;
};

static_assert(std::has_virtual_destructor_v<PellmarAppBase>);
static_assert(std::is_abstract_v<PellmarAppBase>);

// Behind the destructors, in this order.
TEST(PellmarSlots, AreWhereTheClassesOfGamesHaveThem) {
  EXPECT_EQ(test_support::SlotOf(&PellmarAppBase::QueueEvent), 2U);
  EXPECT_EQ(test_support::SlotOf(&vorn::PellmarCommand::isQuery), 2U);
  EXPECT_EQ(test_support::SlotOf(&vorn::PellmarCommand::isReply), 3U);
  EXPECT_EQ(test_support::SlotOf(&vorn::PellmarCommand::execute), 4U);
}

class PellmarAppBaseTest : public testing::Test {
 protected:
  static Texts State(const wchar_t* state) { return {L"TEST-GAME", L"StateChanged", state}; }

  // Whether a poll finds the game gone in time; the log of that poll.
  std::string PollUntilGone() {
    std::string log;
    EXPECT_TRUE(StepUntil([&] { log = LogOf([&] { app.PollPellmar(); }); },
                          [&] { return app.client == nullptr; }));
    return log;
  }

  RecordingSink sink;
  TestApp app{sink, kPipeName, L"TEST-GAME"};
};

TEST_F(PellmarAppBaseTest, IsIdleAtFirst) {
  EXPECT_EQ(app.client, nullptr);
  EXPECT_FALSE(app.shuttingDown);
  EXPECT_THAT(sink.Take(), IsEmpty());
}

TEST_F(PellmarAppBaseTest, ConnectsToTheGamesPipe) {
  PipeServer game(kPipeName);
  bool connected = false;
  EXPECT_EQ(LogOf([&] { connected = app.Connect(); }), "");
  EXPECT_TRUE(connected);
  ASSERT_NE(app.client, nullptr);
  EXPECT_TRUE(app.client->IsConnected());
  EXPECT_TRUE(game.Accept(kPatienceMs));
  EXPECT_THAT(sink.Take(), ElementsAre(State(L"READY")));
}

TEST_F(PellmarAppBaseTest, ConnectingWithoutAGameIsSilent) {
  bool connected = true;
  EXPECT_EQ(LogOf([&] { connected = app.Connect(); }), "");
  EXPECT_FALSE(connected);
  EXPECT_EQ(app.client, nullptr);
  EXPECT_THAT(sink.Take(), IsEmpty());
}

TEST_F(PellmarAppBaseTest, ConnectingWhenConnectedDoesNotTouchThePipe) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  sink.Take();
  const auto before = app.client;
  bool connected = false;
  EXPECT_EQ(LogOf([&] { connected = app.Connect(); }),
            "PellmarAppBase::Connect: Instance is running, we are done here\n");
  EXPECT_TRUE(connected);
  EXPECT_EQ(app.client, before);
  EXPECT_THAT(sink.Take(), IsEmpty());
}

TEST_F(PellmarAppBaseTest, EvenAClientThatLostItsPipeCounts) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  app.client->Close();
  sink.Take();
  EXPECT_EQ(LogOf([&] { EXPECT_TRUE(app.Connect()); }),
            "PellmarAppBase::Connect: Instance is running, we are done here\n");
}

TEST_F(PellmarAppBaseTest, PollingConnects) {
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }), "");
  EXPECT_EQ(app.client, nullptr);
  PipeServer game(kPipeName);
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }), "");
  EXPECT_NE(app.client, nullptr);
  EXPECT_THAT(sink.Take(), ElementsAre(State(L"READY")));
}

TEST_F(PellmarAppBaseTest, CommandsGoToTheApplication) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  ASSERT_TRUE(game.Write(kX, kPatienceMs));
  const std::string log = LogOf([&] {
    EXPECT_TRUE(StepUntil([&] { app.PollPellmar(); }, [&] { return !app.events.empty(); }));
  });
  ASSERT_EQ(app.events.size(), 1U);
  EXPECT_STREQ(app.events[0]->GetSource(), L"TEST-GAME");
  EXPECT_STREQ(app.events[0]->GetName(), L"X");
  EXPECT_EQ(log,
            "GenericPellmarCommand::execute: args \n"
            "GenericPellmarCommand::execute: Posting event to instance " +
                PointerText(static_cast<CommandEventReceiver*>(&app)) + "\n");
}

TEST_F(PellmarAppBaseTest, ReportsALostGameOnce) {
  {
    PipeServer game(kPipeName);
    ASSERT_TRUE(app.Connect());
  }
  sink.Take();
  EXPECT_EQ(PollUntilGone(),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n");
  EXPECT_THAT(sink.Take(), ElementsAre(State(L"GAMEISGONE")));
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }), "");
  EXPECT_THAT(sink.Take(), IsEmpty());
}

TEST_F(PellmarAppBaseTest, AClientThatIsNotConnectedIsALostGame) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  sink.Take();
  app.client->Close();
  const std::shared_ptr<PipeClient> lost = app.client;
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 00000426\n");
  EXPECT_EQ(lost->GetLastErrorCode(), DWORD{ERROR_SERVICE_NOT_ACTIVE});
  EXPECT_THAT(sink.Take(), ElementsAre(State(L"GAMEISGONE")));
}

TEST_F(PellmarAppBaseTest, KeepsTheReasonInTheClient) {
  std::shared_ptr<PipeClient> lost;
  {
    PipeServer game(kPipeName);
    ASSERT_TRUE(app.Connect());
    lost = app.client;
    EXPECT_EQ(lost->GetLastErrorCode(), 0U);
  }
  PollUntilGone();
  EXPECT_EQ(lost->GetLastErrorCode(), DWORD{ERROR_BROKEN_PIPE});
  EXPECT_FALSE(lost->IsConnected());
}

TEST_F(PellmarAppBaseTest, ShuttingDownStopsConnecting) {
  PipeServer game(kPipeName);
  app.shuttingDown = true;
  EXPECT_EQ(LogOf([&] { app.PollPellmar(); }),
            "PellmarAppBase::PollPellmar: We are about to shutdown, doing nothing...\n");
  EXPECT_EQ(app.client, nullptr);
  EXPECT_FALSE(game.Accept(0));
  EXPECT_THAT(sink.Take(), IsEmpty());
}

TEST_F(PellmarAppBaseTest, ShuttingDownStopsPumping) {
  auto game = std::make_unique<PipeServer>(kPipeName);
  ASSERT_TRUE(app.Connect());
  ASSERT_TRUE(game->Accept(kPatienceMs));
  sink.Take();
  ASSERT_TRUE(game->Write(kX, kPatienceMs));
  game.reset();
  app.shuttingDown = true;
  EXPECT_EQ(LogOf([&] {
              for (int i = 0; i < 3; ++i) app.PollPellmar();
            }),
            "PellmarAppBase::PollPellmar: We are about to shutdown, doing nothing...\n"
            "PellmarAppBase::PollPellmar: We are about to shutdown, doing nothing...\n"
            "PellmarAppBase::PollPellmar: We are about to shutdown, doing nothing...\n");
  EXPECT_THAT(app.events, IsEmpty());
  EXPECT_THAT(sink.Take(), IsEmpty());
  EXPECT_NE(app.client, nullptr);
  // The flag is not looked at by the other operations.
  LogOf([&] { app.Disconnect(); });
  EXPECT_EQ(app.client, nullptr);
}

TEST_F(PellmarAppBaseTest, DisconnectingHangsUpWithoutAnEvent) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  sink.Take();
  const std::string client = PointerText(app.client.get());
  EXPECT_EQ(LogOf([&] { app.Disconnect(); }),
            "PellmarAppBase::Disconnect: Deleting PipeClient " + client + " from instance " +
                PointerText(static_cast<PellmarAppBase*>(&app)) + "\n");
  EXPECT_EQ(app.client, nullptr);
  EXPECT_THAT(sink.Take(), IsEmpty());
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
}

TEST_F(PellmarAppBaseTest, DisconnectingWhenIdleDoesNothing) {
  EXPECT_EQ(LogOf([&] { app.Disconnect(); }), "");
  EXPECT_THAT(sink.Take(), IsEmpty());
}

TEST_F(PellmarAppBaseTest, MayConnectAgainAfterDisconnecting) {
  PipeServer game(kPipeName);
  ASSERT_TRUE(app.Connect());
  LogOf([&] { app.Disconnect(); });
  const PipeServer next(kPipeName);
  EXPECT_TRUE(app.Connect());
  EXPECT_THAT(sink.Take(), ElementsAre(State(L"READY"), State(L"READY")));
}

TEST_F(PellmarAppBaseTest, ItsEndDisconnects) {
  PipeServer game(kPipeName);
  auto other = std::make_unique<TestApp>(sink, kPipeName, L"OTHER-GAME");
  ASSERT_TRUE(other->Connect());
  ASSERT_TRUE(game.Accept(kPatienceMs));
  sink.Take();
  const std::string client = PointerText(other->client.get());
  const std::string instance = PointerText(static_cast<PellmarAppBase*>(other.get()));
  EXPECT_EQ(LogOf([&] { other.reset(); }), "PellmarAppBase::Disconnect: Deleting PipeClient " +
                                               client + " from instance " + instance + "\n");
  EXPECT_THAT(sink.Take(), IsEmpty());
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
}

TEST_F(PellmarAppBaseTest, CopiesItsTexts) {
  std::wstring pipe = kPipeName;
  std::wstring id = L"COPIED-GAME";
  TestApp other(sink, pipe.c_str(), id.c_str());
  pipe.assign(pipe.size(), L'?');
  id.assign(id.size(), L'?');
  PipeServer game(kPipeName);
  EXPECT_TRUE(other.Connect());
  EXPECT_THAT(sink.Take(), ElementsAre(Texts{L"COPIED-GAME", L"StateChanged", L"READY"}));
  LogOf([&] { other.Disconnect(); });
}

// A command may still be running when its application goes, so the handler and its command are
// never destroyed.
TEST_F(PellmarAppBaseTest, ItsEndLeavesTheHandlerAndItsCommand) {
  // Short enough to need no memory of their own.
  const auto makeAndDestroy = [&] { TestApp(sink, L"p", L"id"); };
  makeAndDestroy();
  const auto leftover = [&] {
    const std::size_t before = test_support::MeasureHeaps().blocks;
    for (int i = 0; i < 10; ++i) makeAndDestroy();
    return test_support::MeasureHeaps().blocks - before;
  };
  // The system's own threads use the heaps as well, now and then.
  constexpr int kAttempts = 10;
  std::size_t blocks = leftover();
  for (int attempt = 1; attempt < kAttempts && blocks != 20; ++attempt) blocks = leftover();
  EXPECT_EQ(blocks, 20U);
}

}  // namespace
}  // namespace launcher
