// Notifiers that call the launcher from inside a step of the pipe.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/gamepipe/pipe_session.h"
#include "tests/support/lock_probe.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string kX = RawBytes("KE\x08\0\x01X\0\0");
const std::string kY = RawBytes("KE\x08\0\x01Y\0\0");
const std::string kZ = RawBytes("KE\x08\0\x01Z\0\0");

const Event kXEvent{L"SOLANO-GAME", L"X", {}};
const Event kYEvent{L"SOLANO-GAME", L"Y", {}};
const Event kZEvent{L"SOLANO-GAME", L"Z", {}};

constexpr char kLoss[] =
    "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n";

class PipeNotifier : public PipeSession {
 protected:
  /// `work` runs inside the next notification, which is noted like all others.
  void InNextNotification(std::function<void()> work) {
    host.Notifications().SetInsideCall([this, work = std::move(work)] {
      host.Notifications().SetInsideCall([this] { pipe.Note("notify"); });
      pipe.Note("notify");
      work();
    });
  }

  /// Every notification polls.
  void PollInEveryNotification() {
    host.Notifications().SetInsideCall([this] {
      pipe.Note("notify");
      host->PollApps();
    });
  }

  static std::ptrdiff_t Count(const Calls& calls, const std::string& call) {
    return std::count(calls.begin(), calls.end(), call);
  }
};

TEST_F(PipeNotifier, MayFetchTheEvent) {
  Connect();
  std::vector<Event> fetched;
  host.Notifications().SetInsideCall([&] {
    for (Event& event : host.Drain()) fetched.push_back(std::move(event));
  });
  pipe.CompleteRead(kX + kY);
  host->PollApps();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  EXPECT_THAT(fetched, ElementsAre(kXEvent, kYEvent, GameIsGone()));
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_F(PipeNotifier, MayPostAnEvent) {
  Connect();
  InNextNotification([this] { host.Post(L"host", L"Note"); });
  pipe.CompleteRead(kX + kY);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, Event{L"host", L"Note", {}}, kYEvent));
}

TEST_F(PipeNotifier, MaySendWhenTheGameIsReady) {
  pipe.Offer();
  InNextNotification([this] { EXPECT_TRUE(Send(L"Z")); });
  host->PollApps();
  EXPECT_EQ(pipe.TakeWritten(), kZ);
  EXPECT_THAT(host.Drain(), ElementsAre(Ready()));
}

TEST_F(PipeNotifier, MayFindTheGameGoneWhenItIsReady) {
  pipe.Offer();
  InNextNotification([this] {
    pipe.Refuse(ERROR_FILE_NOT_FOUND);
    pipe.NextReadFails(ERROR_BROKEN_PIPE);
    host->PollApps();
  });
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(Ready(), GameIsGone()));
  pipe.Offer();
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(Ready()));
}

TEST_F(PipeNotifier, PollingInsideACommandStartsTheNextReadOnce) {
  Connect();
  PollInEveryNotification();
  pipe.CompleteRead(kX + kY);
  EXPECT_THAT(Poll(),
              ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 16", "notify",
                          "ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = pending",
                          "notify", "GetOverlappedResult(pipe1, event2, 0) = error 996"));
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, kYEvent));
  pipe.CompleteRead(kZ);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kZEvent));
}

TEST_F(PipeNotifier, WhatPollingInsideACommandReadsComesAfterWhatWasRead) {
  Connect();
  pipe.NextReadCompletes(kZ.substr(0, 5));
  pipe.NextReadCompletes(kZ.substr(5) + kX);
  InNextNotification([this] {
    host->PollApps();  // starts the read
    host->PollApps();  // finds "Y" and half of "Z", starts the next read
    host->PollApps();  // finds the rest
  });
  pipe.CompleteRead(kX + kY);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, kYEvent, kZEvent, kXEvent));
}

TEST_F(PipeNotifier, PollingInsideACommandMayFindTheGameGone) {
  Connect();
  pipe.NextReadFails(ERROR_BROKEN_PIPE);
  InNextNotification([this] { host->PollApps(); });
  pipe.CompleteRead(kX + kY);
  const Calls calls = Poll();
  // What had been received is still delivered; the loss is reported once.
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, GameIsGone(), kYEvent));
  EXPECT_EQ(CountOf(TakeLog(), kLoss), 1U);
  EXPECT_EQ(Count(calls, "CloseHandle(pipe1)"), 1);
  EXPECT_EQ(Count(calls, "CloseHandle(event1)"), 1);
  EXPECT_EQ(Count(calls, "CloseHandle(event2)"), 1);
  EXPECT_THAT(Poll(), Contains(testing::EndsWith("= error 2")));
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_F(PipeNotifier, PollingInsideACommandMayFindANewGame) {
  Connect();
  pipe.Offer();
  pipe.NextReadFails(ERROR_BROKEN_PIPE);
  InNextNotification([this] { host->PollApps(); });
  pipe.CompleteRead(kX + kY.substr(0, 6));
  EXPECT_THAT(Poll(), Not(Contains("ReadFile(pipe2, 4096, 0, event4) = pending")));
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, GameIsGone(), Ready()));
  // The new connection is untouched by what the old one had received.
  EXPECT_THAT(Poll(),
              ElementsAre("ResetEvent(event4)", "ReadFile(pipe2, 4096, 0, event4) = pending"));
  pipe.CompleteRead(kZ);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kZEvent));
}

TEST_F(PipeNotifier, PollingWhenTheGameIsGoneReportsItOnce) {
  Connect();
  PollInEveryNotification();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  const Calls calls = Poll();
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  EXPECT_EQ(TakeLog(), kLoss);
  EXPECT_EQ(Count(calls, "CloseHandle(pipe1)"), 1);
  EXPECT_EQ(Count(calls, "notify"), 1);
  // The poll inside leaves the attempt to the one outside.
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                          [](const std::string& call) { return call.starts_with("CreateFileA"); }),
            1);
}

// The connection is closed after the host has heard of the loss, not before.
TEST_F(PipeNotifier, MaySendToTheGameThatIsGone) {
  Connect();
  bool sent = false;
  InNextNotification([&] { sent = Send(L"Z"); });
  pipe.FailRead(ERROR_BROKEN_PIPE);
  const Calls calls = Poll();
  EXPECT_TRUE(sent);
  EXPECT_EQ(pipe.TakeWritten(), kZ);
  EXPECT_THAT(TakeLog(), Not(HasSubstr("Not connected")));
  EXPECT_LT(std::find(calls.begin(), calls.end(), "notify"),
            std::find(calls.begin(), calls.end(), "CloseHandle(pipe1)"));
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  EXPECT_FALSE(Send(L"Z"));
}

// Ready, a command and the loss are each notified on the thread that polls, under the launcher's lock.
TEST_F(PipeNotifier, IsCalledOnThePollingThreadUnderTheLock) {
  host.Destroy();
  const LockProbe lock(host.Module());
  host.Create();
  std::vector<bool> free;
  std::vector<DWORD> threads;
  host.Notifications().SetInsideCall([&] {
    free.push_back(lock.IsFree());
    threads.push_back(GetCurrentThreadId());
  });
  Connect();
  pipe.CompleteRead(kX);
  host->PollApps();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  EXPECT_THAT(free, ElementsAre(false, false, false));
  EXPECT_THAT(threads, testing::Each(GetCurrentThreadId()));
  EXPECT_TRUE(lock.IsFree());
}

}  // namespace
}  // namespace test_support
