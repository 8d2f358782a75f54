// Games, servers and helpers that send whatever they like, through real pipes and the real port to
// the host. What each of them may do in particular is in gamepipe/pipe_game_test.cpp,
// query/exchange_test.cpp and ping/exchange_test.cpp.
#include "tests/host/robustness/hostile_peers.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/host/query/query_server.h"
#include "tests/support/allocation_tracker.h"
#include "tests/support/process_snapshot.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

// `scripts/soak --hostile` does the same for longer, and with other seeds.
constexpr std::uint64_t kSeed = 20140331;

class HostilePeers : public testing::Test {
 protected:
  struct Outcome {
    int rounds = 0;
    std::string complaint;
    std::size_t blocksBefore = 0;
    std::size_t blocksAfter = 0;
    std::size_t handlesBefore = 0;
    std::size_t handlesAfter = 0;
  };

  // Runs rounds until the time is over or one returns a complaint, and counts what is lost on the
  // way. Failed expectations are written to standard output, so it is caught here alone.
  template <typename Round>
  Outcome RunRounds(unsigned int seconds, const Round& round) {
    // Everybody warms up.
    constexpr int kWarmUp = 20;
    const StreamCapture errors;
    const StreamCapture output(StreamCapture::Stream::kOutput);
    Outcome outcome;
    const ULONGLONG end = GetTickCount64() + 1000ULL * seconds;
    while (GetTickCount64() < end || outcome.rounds <= kWarmUp) {
      outcome.complaint = round();
      if (!outcome.complaint.empty()) break;
      if (++outcome.rounds != kWarmUp) continue;
      outcome.blocksBefore = memory.Outstanding();
      outcome.handlesBefore = CountHandles();
    }
    outcome.blocksAfter = memory.Outstanding();
    outcome.handlesAfter = CountHandles();
    return outcome;
  }

  static void Check(const Outcome& outcome) {
    ASSERT_EQ(outcome.complaint, "") << "round " << outcome.rounds << " with seed " << kSeed;
    EXPECT_EQ(outcome.blocksAfter, outcome.blocksBefore);
    EXPECT_LE(outcome.handlesAfter, outcome.handlesBefore + 4);
  }

  DllHost host{DllHost::Creation::kLater};
  AllocationTracker memory{host.Module()};
};

TEST_F(HostilePeers, GameSendsWhateverItLikes) {
  host.Create();
  HostileGame game(host, kSeed);
  Check(RunRounds(8, [&] { return game.Live(); }));
  host.Destroy();
  EXPECT_GT(game.SeenEvents(), 100U);
}

TEST_F(HostilePeers, ServerSendsWhateverItLikes) {
  host.Create();
  HostileServer server(host, kSeed);
  Check(RunRounds(8, [&] { return server.Ask(8); }));
  host.Destroy();
  EXPECT_GT(server.SentBytes(), 10000U);
}

TEST_F(HostilePeers, HelperRepliesWhateverItLikes) {
  host.Create();
  HostileHelper helper(host, kSeed);
  Check(RunRounds(4, [&] { return helper.Live(); }));
  host.Destroy();
  EXPECT_GT(helper.GoodReplies(), 2U);
}

// The reference that the game's events are compared with, on bytes written by hand.
TEST(HostileFrameReader, ReadsFrames) {
  FrameReader reader(L"game");
  reader.Feed(
      BytesOf("KE\x0C\x00\x02Go\x03\x00"
              "a "));
  EXPECT_TRUE(reader.Events().empty());
  reader.Feed(
      BytesOf("b"
              "KE\x00\x00\x00\x00\x00"));
  EXPECT_EQ(reader.Events(),
            (std::vector<Event>{{L"game", L"Go", {L"a", L"b"}}, {L"game", L"", {}}}));
  EXPECT_FALSE(reader.IsBroken());
  reader.Feed("KK");
  EXPECT_FALSE(reader.IsBroken());
  reader.Feed("KKK");
  EXPECT_TRUE(reader.IsBroken());
}

// An answer that comes after the query was given up goes to a port that nobody listens to any more.
TEST(HostileServerTest, LateAnswersDisturbNobody) {
  const StreamCapture errors;
  DllHost host;
  const UdpPeer server;
  host->QueryServer(L"late", L"", L"1", L"127.0.0.1", server.Port());
  const auto request = server.Receive(kPatienceMs);
  ASSERT_TRUE(request.has_value());
  host->WaitForThreads();
  EXPECT_EQ(StatusOf(host.WaitForEvent(L"QueryServerResult")), L"ERROR_SELECT_FAILED_OR_TIMEDOUT");
  server.SendTo(BytesOf("\1\2\3\4"), request->sender);
  const PatientSelect patience(host.Module());
  host->QueryServer(L"next", L"", L"1", L"127.0.0.1", server.Port());
  Serve(server, BytesOf("\1\2\3\4"), SmallResponse());
  EXPECT_EQ(StatusOf(host.WaitForEvent(L"QueryServerResult")), L"SUCCESS");
}

}  // namespace
}  // namespace test_support
