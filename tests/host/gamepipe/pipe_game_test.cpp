// Games that behave and games that do not, at the other end of real pipes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/gamepipe/pipe_session.h"
#include "tests/support/pipe_server.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kGamePipe[] = LR"(\\.\pipe\solano_pellmar)";

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");
const std::string kY = RawBytes(
    "KE\x0B\0\x01Y\x03\0"
    "1 2");

const Event kXEvent{L"SOLANO-GAME", L"X", {}};
const Event kYEvent{L"SOLANO-GAME", L"Y", {L"1", L"2"}};

class PipeGame : public testing::Test {
 protected:
  std::optional<Event> WaitFor(const wchar_t* name) {
    return host.WaitForEvent(name, kPatienceMs, DllHost::Polling::kPollApps);
  }

  /// Polls until so many events have come; fewer when they do not come in time.
  std::vector<Event> Poll(std::size_t count) {
    std::vector<Event> events;
    while (events.size() < count) {
      std::optional<Event> event = PollForOne();
      if (!event) break;
      events.push_back(std::move(*event));
    }
    return events;
  }

  void Connect(PipeServer& game) {
    host->PollApps();
    ASSERT_THAT(host.Drain(), ElementsAre(Ready()));
    ASSERT_TRUE(game.Accept(kPatienceMs));
  }

  bool Send(const wchar_t* command, const wchar_t* arg0 = L"") {
    return host->SendCommand(kGameId, command, arg0, L"", L"", L"");
  }

  /// What the game reads while the host polls.
  std::string ReadWhilePolling(PipeServer& game, std::size_t count) {
    std::future<std::string> bytes =
        std::async(std::launch::async, [&] { return game.Read(count, kPatienceMs); });
    do {
      host->PollApps();
    } while (bytes.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready);
    return bytes.get();
  }

  StreamCapture log{StreamCapture::Stream::kError};
  DllHost host;

 private:
  std::optional<Event> PollForOne() {
    const ULONGLONG deadline = GetTickCount64() + kPatienceMs;
    while (GetTickCount64() < deadline) {
      if (IEventInfo* const info = host->GetNextEvent()) return TakeEvent(*host.Launcher(), info);
      host->PollApps();
      WaitForSingleObject(host.Notifications().CalledEvent(), 5);
    }
    return std::nullopt;
  }
};

TEST_F(PipeGame, ExchangesCommandsAndGoes) {
  {
    PipeServer game(kGamePipe);
    Connect(game);
    ASSERT_TRUE(game.Write(kY + kX, kPatienceMs));
    EXPECT_THAT(Poll(2), ElementsAre(kYEvent, kXEvent));
    EXPECT_TRUE(Send(L"Y", L"1 2"));
    EXPECT_EQ(game.Read(kY.size(), kPatienceMs), kY);
    EXPECT_TRUE(Send(L"X"));
    EXPECT_EQ(game.Read(kX.size(), kPatienceMs), kX);
  }
  const std::size_t mark = log.Mark();
  EXPECT_THAT(Poll(1), ElementsAre(GameIsGone()));
  EXPECT_EQ(log.Text(mark),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n");
  host->PollApps();
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_FALSE(Send(L"X"));
}

// A command of any name is forwarded, that of the launcher's own events too.
TEST_F(PipeGame, MaySayThatItsStateHasChanged) {
  PipeServer game(kGamePipe);
  Connect(game);
  ASSERT_TRUE(game.Write(RawBytes("KE\x1D\0\x0CStateChanged\x0A\0GAMEISGONE") + kX, kPatienceMs));
  EXPECT_THAT(Poll(2), ElementsAre(GameIsGone(), kXEvent));
}

TEST_F(PipeGame, MayBeStartedAgain) {
  for (int i = 0; i < 3; ++i) {
    PipeServer game(kGamePipe);
    Connect(game);
    ASSERT_TRUE(game.Write(kX, kPatienceMs));
    EXPECT_THAT(Poll(1), ElementsAre(kXEvent));
    game.Close();
    EXPECT_THAT(Poll(1), ElementsAre(GameIsGone()));
  }
}

TEST_F(PipeGame, MayThrowTheLauncherOutAndTakeItBack) {
  PipeServer game(kGamePipe);
  Connect(game);
  game.DisconnectAndListen();
  EXPECT_THAT(Poll(2), ElementsAre(GameIsGone(), Ready()));
  ASSERT_TRUE(game.Accept(kPatienceMs));
  ASSERT_TRUE(game.Write(kX, kPatienceMs));
  EXPECT_THAT(Poll(1), ElementsAre(kXEvent));
}

TEST_F(PipeGame, MayGoInTheMiddleOfAFrame) {
  {
    PipeServer game(kGamePipe);
    Connect(game);
    host->PollApps();
    ASSERT_TRUE(game.Write(kX + kY.substr(0, 9), kPatienceMs));
    EXPECT_THAT(Poll(1), ElementsAre(kXEvent));
  }
  EXPECT_THAT(Poll(1), ElementsAre(GameIsGone()));
  // The rest of the frame is not waited for.
  PipeServer game(kGamePipe);
  Connect(game);
  ASSERT_TRUE(game.Write(kY, kPatienceMs));
  EXPECT_THAT(Poll(1), ElementsAre(kYEvent));
}

TEST_F(PipeGame, MayGoWhileAWriteIsOutstanding) {
  {
    PipeServer game(kGamePipe, 64);
    Connect(game);
    const std::wstring longArgument(50000, L'a');
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(Send(L"Go", longArgument.c_str()));
      host->PollApps();
    }
  }
  EXPECT_THAT(Poll(1), ElementsAre(GameIsGone()));
  EXPECT_FALSE(Send(L"X"));
}

TEST_F(PipeGame, MayWriteOneByteAtATime) {
  PipeServer game(kGamePipe);
  Connect(game);
  for (const char byte : kY + kX) {
    ASSERT_TRUE(game.Write(std::string(1, byte), kPatienceMs));
    host->PollApps();
  }
  EXPECT_THAT(Poll(2), ElementsAre(kYEvent, kXEvent));
}

TEST_F(PipeGame, MayWriteALotAtOnce) {
  PipeServer game(kGamePipe, 1 << 20);
  Connect(game);
  // 60000 is 0xEA60, 1 + 60000 + 7 is 0xEA68.
  const std::string longFrame = RawBytes("KE\x68\xEA\x01L\x60\xEA") + std::string(60000, 'm');
  std::string stream;
  for (int i = 0; i < 1000; ++i) stream += kX;
  ASSERT_TRUE(game.Write(longFrame + stream + longFrame, kPatienceMs));
  const Event longEvent{L"SOLANO-GAME", L"L", {std::wstring(60000, L'm')}};
  const std::vector<Event> events = Poll(1002);
  ASSERT_EQ(events.size(), 1002U);
  EXPECT_EQ(events.front(), longEvent);
  EXPECT_EQ(std::vector<Event>(events.begin() + 1, events.end() - 1),
            std::vector<Event>(1000, kXEvent));
  EXPECT_EQ(events.back(), longEvent);
  EXPECT_EQ(
      CountOf(log.Text(), "GenericPellmarCommand::execute: args " + std::string(60000, 'm') + "\n"),
      2U);
}

// Were any call to wait for the game, this test would never end.
TEST_F(PipeGame, NeedNotRead) {
  PipeServer game(kGamePipe, 64);
  Connect(game);
  const std::wstring argument(997, L'a');
  // 997 is 0x03E5, 4 + 997 + 7 is 0x03F0.
  const std::string frame = RawBytes("KE\xF0\x03\x04Pile\xE5\x03") + std::string(997, 'a');
  std::string all;
  for (int i = 0; i < 300; ++i) {
    EXPECT_TRUE(Send(L"Pile", argument.c_str()));
    host->PollApps();
    all += frame;
  }
  EXPECT_THAT(host.Drain(), IsEmpty());
  // And when it reads after all, it finds everything in order.
  EXPECT_TRUE(ReadWhilePolling(game, all.size()) == all);
  EXPECT_TRUE(Send(L"X"));
  EXPECT_EQ(ReadWhilePolling(game, kX.size()), kX);
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_F(PipeGame, MayBeTalkingToSomebodyElse) {
  PipeServer game(kGamePipe);
  {
    const ScopedHandle other(CreateFileW(kGamePipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(other);
    ASSERT_TRUE(game.Accept(kPatienceMs));
    const std::size_t mark = log.Mark();
    for (int i = 0; i < 3; ++i) host->PollApps();
    EXPECT_THAT(host.Drain(), IsEmpty());
    EXPECT_EQ(log.Text(mark), "");
  }
  game.DisconnectAndListen();
  EXPECT_THAT(Poll(1), ElementsAre(Ready()));
}

TEST_F(PipeGame, SeesTheLauncherGo) {
  PipeServer game(kGamePipe, 64);
  Connect(game);
  host->PollApps();
  Send(L"Go", std::wstring(50000, L'a').c_str());
  host.Destroy();
  // What the system had not taken is lost; then the pipe is at its end.
  const std::string rest = game.Read(60000, kPatienceMs);
  EXPECT_LT(rest.size(), 50009U);
  EXPECT_EQ(game.Read(1, kPatienceMs), "");
}

// The notifier of a host that does everything at once.
TEST_F(PipeGame, MaySpeakToAHostThatPollsInItsNotifier) {
  PipeServer game(kGamePipe);
  int depth = 0;
  host.Notifications().SetInsideCall([&] {
    if (++depth < 5) host->PollApps();
    --depth;
  });
  Connect(game);
  std::string stream;
  for (int i = 0; i < 200; ++i) stream += i % 2 == 0 ? kX : kY;
  std::future<bool> written = std::async(std::launch::async, [&] {
    for (std::size_t at = 0; at < stream.size(); at += 37) {
      if (!game.Write(stream.substr(at, 37), kPatienceMs)) return false;
    }
    return true;
  });
  const std::vector<Event> events = Poll(200);
  EXPECT_TRUE(written.get());
  ASSERT_EQ(events.size(), 200U);
  for (std::size_t i = 0; i < events.size(); ++i) {
    ASSERT_EQ(events[i], i % 2 == 0 ? kXEvent : kYEvent) << i;
  }
  game.Close();
  EXPECT_THAT(Poll(1), ElementsAre(GameIsGone()));
  host->PollApps();
  EXPECT_THAT(host.Drain(), IsEmpty());
}

}  // namespace
}  // namespace test_support
