// The steps of a game's pipe: every call that the library makes to the system, in order, and what
// each answer of the system leads to.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/host/gamepipe/pipe_session.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// name "X" without arguments; name "Y" with the arguments "1 2".
const std::string kX = RawBytes("KE\x08\0\x01X\0\0");
const std::string kY = RawBytes(
    "KE\x0B\0\x01Y\x03\0"
    "1 2");

const Event kXEvent{L"SOLANO-GAME", L"X", {}};
const Event kYEvent{L"SOLANO-GAME", L"Y", {L"1", L"2"}};

using PipeSteps = PipeSession;

TEST_F(PipeSteps, ConnectingMakesTheEventsThenOpensThePipe) {
  pipe.Offer();
  EXPECT_THAT(
      Poll(),
      ElementsAre("CreateEventW(0, 1, 0, 0) = event1", "CreateEventW(0, 1, 0, 0) = event2",
                  R"(CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0) = pipe1)",
                  "notify"));
  EXPECT_THAT(host.Drain(), ElementsAre(Ready()));
  EXPECT_EQ(TakeLog(), "");
}

TEST_F(PipeSteps, EachPollMakesOneAttemptWhileThereIsNoPipe) {
  for (int i = 0; i < 3; ++i) {
    const std::string first = "event" + std::to_string(2 * i + 1);
    const std::string second = "event" + std::to_string(2 * i + 2);
    EXPECT_THAT(
        Poll(),
        ElementsAre("CreateEventW(0, 1, 0, 0) = " + first, "CreateEventW(0, 1, 0, 0) = " + second,
                    R"(CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0))"
                    " = error 2",
                    "CloseHandle(" + second + ")", "CloseHandle(" + first + ")"));
  }
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(TakeLog(), "");
}

TEST_F(PipeSteps, AnyFailureToOpenIsTheNormalCase) {
  for (const DWORD error : {DWORD{ERROR_PIPE_BUSY}, DWORD{ERROR_ACCESS_DENIED}}) {
    pipe.Refuse(error);
    host->PollApps();
  }
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(TakeLog(), "");
  EXPECT_EQ(host.Notifications().CallCount(), 0);
}

TEST_F(PipeSteps, ConnectsWhenThePipeAppears) {
  host->PollApps();
  EXPECT_THAT(host.Drain(), IsEmpty());
  pipe.Offer();
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(Ready()));
  host->PollApps();
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_F(PipeSteps, GamesAreAskedForInTheOrderOfTheirIdentifiers) {
  host.Destroy();
  DllHost other;
  IMPORT_HOOK(CreateFileA) opens(other.Module());
  std::vector<std::string> names;
  opens.SetReplacement([&](LPCSTR name, auto...) {
    names.emplace_back(name);
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  });
  other->PollApps();
  EXPECT_THAT(names, ElementsAre(R"(\\.\pipe\brenna_pellmar)", R"(\\.\pipe\brenna_pellmar)",
                                 R"(\\.\pipe\solano_pellmar)", R"(\\.\pipe\tamsin_pellmar)",
                                 R"(\\.\pipe\tamsin_pellmar)", R"(\\.\pipe\tamsin_pellmar)",
                                 R"(\\.\pipe\tavr_pellmar)"));
}

TEST_F(PipeSteps, OnlyAPollConnects) {
  pipe.Offer();
  pipe.TakeCalls();
  host->IsInstalled(kGameId);
  host->IsRunning(kGameId);
  host->SetParameter(kGameId, L"probeMethod", L"path");
  host.GetVersion(kGameId);
  EXPECT_FALSE(Send(L"X"));
  EXPECT_THAT(pipe.TakeCalls(), Not(testing::Contains(testing::HasSubstr("CreateFileA"))));
}

TEST_F(PipeSteps, AConnectedPollReads) {
  pipe.Offer();
  host->PollApps();
  EXPECT_THAT(Poll(),
              ElementsAre("ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = pending"));
  // Nothing of it waits.
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996"));
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996"));
  EXPECT_EQ(TakeLog(), "");
}

TEST_F(PipeSteps, AFinishedReadIsHarvestedAndTheNextOneStarted) {
  Connect();
  pipe.CompleteRead(kX);
  EXPECT_THAT(Poll(),
              ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 8", "notify",
                          "ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = pending"));
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent));
}

TEST_F(PipeSteps, AReadThatCompletesAtOnceIsHarvestedByTheNextStep) {
  pipe.Offer();
  host->PollApps();
  host.Drain();
  pipe.NextReadCompletes(kX);
  EXPECT_THAT(Poll(), ElementsAre("ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = done",
                                  "SetEvent(event2)"));
  EXPECT_THAT(host.Drain(), IsEmpty());
  pipe.NextReadCompletes(kY);
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 8", "notify",
                                  "ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = done",
                                  "SetEvent(event2)"));
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent));
  EXPECT_THAT(Poll(),
              ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 11", "notify",
                          "ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = pending"));
  EXPECT_THAT(host.Drain(), ElementsAre(kYEvent));
}

TEST_F(PipeSteps, TwoFramesInOneReadAreTwoEventsOfThatStep) {
  Connect();
  pipe.CompleteRead(kX + kY);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, kYEvent));
}

TEST_F(PipeSteps, AFrameSplitAcrossTwoReadsComesWithTheSecond) {
  Connect();
  for (std::size_t split = 1; split < kY.size(); ++split) {
    SCOPED_TRACE(split);
    pipe.CompleteRead(kY.substr(0, split));
    host->PollApps();
    EXPECT_THAT(host.Drain(), IsEmpty());
    host->PollApps();
    EXPECT_THAT(host.Drain(), IsEmpty());
    pipe.CompleteRead(kY.substr(split));
    host->PollApps();
    EXPECT_THAT(host.Drain(), ElementsAre(kYEvent));
  }
}

TEST_F(PipeSteps, AFrameLongerThanAReadComesWithTheLastRead) {
  Connect();
  // 10000 is 0x2710, 1 + 10000 + 7 is 0x2718.
  const std::string frame = RawBytes("KE\x18\x27\x01L\x10\x27") + std::string(10000, 'm');
  pipe.CompleteRead(frame.substr(0, 4096));
  host->PollApps();
  pipe.CompleteRead(frame.substr(4096, 4096));
  host->PollApps();
  EXPECT_THAT(host.Drain(), IsEmpty());
  pipe.CompleteRead(frame.substr(8192) + kX);
  host->PollApps();
  EXPECT_THAT(host.Drain(),
              ElementsAre(Event{L"SOLANO-GAME", L"L", {std::wstring(10000, L'm')}}, kXEvent));
}

TEST_F(PipeSteps, ReadsAreAlwaysOf4096Bytes) {
  Connect();
  // A short read does not make the next one shorter.
  for (const std::string& bytes : {kX, kX.substr(0, 3), kX.substr(3)}) {
    pipe.CompleteRead(bytes);
    EXPECT_EQ(Poll().back(), "ReadFile(pipe1, 4096, 0, event2) = pending");
  }
}

TEST_F(PipeSteps, EveryReadGoesIntoTheSameMemory) {
  Connect();
  const void* const buffer = pipe.ReadBuffer();
  for (int i = 0; i < 3; ++i) {
    pipe.CompleteRead(kY);
    host->PollApps();
    EXPECT_EQ(pipe.ReadBuffer(), buffer);
  }
}

TEST_F(PipeSteps, AnEmptyReadChangesNothing) {
  Connect();
  pipe.CompleteRead("");
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 0", "ResetEvent(event2)",
                                  "ReadFile(pipe1, 4096, 0, event2) = pending"));
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_F(PipeSteps, LogsEachReceivedCommand) {
  Connect();
  pipe.CompleteRead(kY);
  host->PollApps();
  const std::string text = TakeLog();
  const std::string beginning =
      "GenericPellmarCommand::execute: args 1 2\n"
      "GenericPellmarCommand::execute: Posting event to instance ";
  EXPECT_EQ(text.substr(0, beginning.size()), beginning);
  // 16 digits and the line end.
  EXPECT_EQ(text.size(), beginning.size() + 17);
  EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF", beginning.size()), text.size() - 1);
  EXPECT_EQ(text.back(), '\n');
}

TEST_F(PipeSteps, ALostGameIsReportedThenLookedForAgain) {
  Connect();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  EXPECT_THAT(Poll(),
              ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 109", "notify",
                          "CloseHandle(pipe1)", "CloseHandle(event2)", "CloseHandle(event1)",
                          "CreateEventW(0, 1, 0, 0) = event3", "CreateEventW(0, 1, 0, 0) = event4",
                          R"(CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0))"
                          " = error 2",
                          "CloseHandle(event4)", "CloseHandle(event3)"));
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  EXPECT_EQ(TakeLog(),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n");
  // Once.
  host->PollApps();
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(TakeLog(), "");
}

TEST_F(PipeSteps, TheLossIsLoggedBeforeItIsPosted) {
  Connect();
  std::string logged;
  host.Notifications().SetInsideCall([&] { logged = TakeLog(); });
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  EXPECT_EQ(logged,
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n");
}

TEST_F(PipeSteps, ALostGameMayBeBackInTheSamePoll) {
  Connect();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  pipe.Offer();
  EXPECT_THAT(
      Poll(),
      ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 109", "notify",
                  "CloseHandle(pipe1)", "CloseHandle(event2)", "CloseHandle(event1)",
                  "CreateEventW(0, 1, 0, 0) = event3", "CreateEventW(0, 1, 0, 0) = event4",
                  R"(CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0) = pipe2)",
                  "notify"));
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone(), Ready()));
  EXPECT_THAT(Poll(),
              ElementsAre("ResetEvent(event4)", "ReadFile(pipe2, 4096, 0, event4) = pending"));
}

TEST_F(PipeSteps, APartialFrameOfALostGameIsForgotten) {
  Connect();
  pipe.CompleteRead(kY.substr(0, 6));
  host->PollApps();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  pipe.Offer();
  host->PollApps();
  host->PollApps();
  host.Drain();
  pipe.CompleteRead(kX);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent));
}

TEST_F(PipeSteps, QueuedCommandsOfALostGameAreForgotten) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  EXPECT_TRUE(Send(L"X"));
  EXPECT_TRUE(Send(L"X"));
  pipe.FailRead(ERROR_BROKEN_PIPE);
  pipe.Offer();
  host->PollApps();
  pipe.TakeWritten();
  EXPECT_TRUE(Send(L"Y", L"1", L"2"));
  host->PollApps();
  host->PollApps();
  EXPECT_EQ(pipe.TakeWritten(), kY);
}

class PipeFailures : public PipeSession,
                     public testing::WithParamInterface<std::pair<DWORD, const char*>> {
 protected:
  // What every failed step leads to.
  void ExpectGameIsGone() {
    const Calls calls = Poll();
    EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
    EXPECT_EQ(TakeLog(), std::string("PellmarAppBase::PollPellmar: Update of AppLauncher failed "
                                     "with error ") +
                             GetParam().second + "\n");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "CloseHandle(pipe1)"), 1);
    EXPECT_THAT(calls.back(), "CloseHandle(event3)");
  }
};

TEST_P(PipeFailures, OfAReadAtItsStart) {
  pipe.Offer();
  host->PollApps();
  host.Drain();
  pipe.Refuse(ERROR_FILE_NOT_FOUND);
  pipe.NextReadFails(GetParam().first);
  ExpectGameIsGone();
}

TEST_P(PipeFailures, OfAReadAtItsEnd) {
  Connect();
  pipe.FailRead(GetParam().first);
  ExpectGameIsGone();
}

TEST_P(PipeFailures, OfAWriteAtItsStart) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  EXPECT_TRUE(Send(L"X"));
  EXPECT_TRUE(Send(L"Y"));
  pipe.CompleteWrite();
  pipe.NextWriteFails(GetParam().first);
  ForgetLog();
  ExpectGameIsGone();
}

TEST_P(PipeFailures, OfAWriteAtItsEnd) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  EXPECT_TRUE(Send(L"X"));
  pipe.FailWrite(GetParam().first);
  ForgetLog();
  ExpectGameIsGone();
}

INSTANTIATE_TEST_SUITE_P(AllKinds, PipeFailures,
                         testing::Values(std::pair(DWORD{ERROR_BROKEN_PIPE}, "0000006d"),
                                         std::pair(DWORD{ERROR_INVALID_HANDLE}, "00000006"),
                                         std::pair(DWORD{ERROR_NO_DATA}, "000000e8"),
                                         std::pair(DWORD{ERROR_PIPE_NOT_CONNECTED}, "000000e9"),
                                         std::pair(DWORD{ERROR_OPERATION_ABORTED}, "000003e3"),
                                         std::pair(DWORD{0xC0DEFFEE}, "c0deffee")));

TEST_F(PipeSteps, ARunningReadIsNoReasonNotToWrite) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996",
                                  "GetOverlappedResult(pipe1, event1, 0) = error 996"));
}

TEST_F(PipeSteps, AfterAFailedReadNothingIsWritten) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  Send(L"Y");
  pipe.CompleteWrite();
  pipe.TakeWritten();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  EXPECT_THAT(Poll(), testing::Contains("CloseHandle(pipe1)"));
  EXPECT_EQ(pipe.TakeWritten(), "");
}

TEST_F(PipeSteps, BytesThatAreNoFrameEndTheConnection) {
  Connect();
  pipe.CompleteRead("hello game");
  EXPECT_THAT(Poll(), testing::Contains("CloseHandle(pipe1)"));
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  EXPECT_EQ(TakeLog(),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000000d\n");
}

TEST_F(PipeSteps, FramesBeforeABadOneAreDelivered) {
  Connect();
  pipe.CompleteRead(kX + kY + "hello" + kX);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, kYEvent, GameIsGone()));
}

TEST_F(PipeSteps, ABadFrameKeepsTheNextReadFromStarting) {
  Connect();
  pipe.CompleteRead("hello");
  EXPECT_THAT(Poll(), Not(testing::Contains("ReadFile(pipe1, 4096, 0, event2) = pending")));
}

// A system that refuses without a reason: the client then takes itself for connected.
TEST_F(PipeSteps, AConnectionWithoutAPipeIsFoundByTheNextPoll) {
  pipe.Refuse(ERROR_SUCCESS);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(Ready()));
  // Nothing is sent, but there is a connection to send to.
  EXPECT_TRUE(Send(L"X"));
  EXPECT_EQ(pipe.TakeWritten(), "");
  ForgetLog();
  pipe.Refuse(ERROR_FILE_NOT_FOUND);
  EXPECT_THAT(Poll(),
              ElementsAre("notify", "CloseHandle(event2)", "CloseHandle(event1)",
                          "CreateEventW(0, 1, 0, 0) = event3", "CreateEventW(0, 1, 0, 0) = event4",
                          R"(CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0))"
                          " = error 2",
                          "CloseHandle(event4)", "CloseHandle(event3)"));
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  EXPECT_EQ(TakeLog(),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 00000006\n");
}

TEST_F(PipeSteps, AWriteThatCompletesAtOnceIsDone) {
  Connect();
  EXPECT_TRUE(Send(L"X"));
  EXPECT_THAT(pipe.TakeCalls(),
              ElementsAre("ResetEvent(event1)", "WriteFile(pipe1, 8, 0, event1) = done"));
  EXPECT_EQ(pipe.TakeWritten(), kX);
  // Nothing of it is left to be harvested.
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996"));
  EXPECT_TRUE(Send(L"Y", L"1", L"2"));
  EXPECT_THAT(pipe.TakeCalls(),
              ElementsAre("ResetEvent(event1)", "WriteFile(pipe1, 11, 0, event1) = done"));
  EXPECT_EQ(pipe.TakeWritten(), kY);
}

// What is queued and what is written change places; nothing is copied.
TEST_F(PipeSteps, WritesAlternateBetweenTwoBlocksOfMemory) {
  Connect();
  std::vector<const void*> buffers;
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(Send(L"X"));
    buffers.push_back(pipe.WriteBuffer());
  }
  EXPECT_NE(buffers[0], buffers[1]);
  EXPECT_THAT(buffers, ElementsAre(buffers[0], buffers[1], buffers[0], buffers[1]));
}

TEST_F(PipeSteps, WhileAWriteIsOutstandingCommandsOnlyQueue) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  EXPECT_TRUE(Send(L"X"));
  EXPECT_THAT(pipe.TakeCalls(),
              ElementsAre("ResetEvent(event1)", "WriteFile(pipe1, 8, 0, event1) = pending"));
  EXPECT_EQ(pipe.TakeWritten(), kX);
  const auto* const outstanding = static_cast<const char*>(pipe.WriteBuffer());

  EXPECT_TRUE(Send(L"Y", L"1", L"2"));
  EXPECT_TRUE(Send(L"X"));
  EXPECT_TRUE(Send(L"Y", L"1", L"2"));
  EXPECT_THAT(pipe.TakeCalls(), ElementsAre("GetOverlappedResult(pipe1, event1, 0) = error 996",
                                            "GetOverlappedResult(pipe1, event1, 0) = error 996",
                                            "GetOverlappedResult(pipe1, event1, 0) = error 996"));
  EXPECT_EQ(pipe.TakeWritten(), "");
  EXPECT_EQ(std::string(outstanding, 8), kX);  // not touched meanwhile

  pipe.CompleteWrite();
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996",
                                  "GetOverlappedResult(pipe1, event1, 0) = 8", "ResetEvent(event1)",
                                  "WriteFile(pipe1, 30, 0, event1) = done"));
  EXPECT_EQ(pipe.TakeWritten(), kY + kX + kY);
}

TEST_F(PipeSteps, ACommandHarvestsAFinishedWrite) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.CompleteWrite();
  pipe.TakeCalls();
  pipe.TakeWritten();
  EXPECT_TRUE(Send(L"Y", L"1", L"2"));
  EXPECT_THAT(pipe.TakeCalls(),
              ElementsAre("GetOverlappedResult(pipe1, event1, 0) = 8", "ResetEvent(event1)",
                          "WriteFile(pipe1, 11, 0, event1) = done"));
  EXPECT_EQ(pipe.TakeWritten(), kY);
}

TEST_F(PipeSteps, AFinishedWriteWithNothingBehindItIsOnlyHarvested) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.CompleteWrite();
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996",
                                  "GetOverlappedResult(pipe1, event1, 0) = 8"));
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996"));
}

TEST_F(PipeSteps, OneWriteAfterAnotherMayStayOutstanding) {
  Connect();
  for (int i = 0; i < 3; ++i) {
    pipe.NextWriteStaysOutstanding();
    EXPECT_TRUE(Send(L"X"));
    EXPECT_TRUE(Send(L"Y", L"1", L"2"));
    pipe.CompleteWrite();
    pipe.NextWriteStaysOutstanding();
    host->PollApps();
    EXPECT_EQ(pipe.TakeWritten(), kX + kY);
    pipe.CompleteWrite();
    host->PollApps();
  }
  EXPECT_THAT(host.Drain(), IsEmpty());
}

class PipeTornWrites : public PipeSession, public testing::WithParamInterface<DWORD> {};

TEST_P(PipeTornWrites, EndTheConnection) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");  // 8 bytes
  pipe.CompleteWrite(GetParam());
  ForgetLog();
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  EXPECT_EQ(TakeLog(),
            "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006f\n");
}

TEST_P(PipeTornWrites, AreStillFoundAfterACommand) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.CompleteWrite(GetParam());
  pipe.TakeWritten();
  EXPECT_TRUE(Send(L"Y"));  // finds it, and is told nothing
  EXPECT_EQ(pipe.TakeWritten(), "");
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
}

INSTANTIATE_TEST_SUITE_P(TooFewAndTooMany, PipeTornWrites, testing::Values(0, 7, 9));

TEST_F(PipeSteps, AWriteThatFailsAtOnceIsNotReported) {
  Connect();
  pipe.NextWriteFails(ERROR_NO_DATA);
  EXPECT_TRUE(Send(L"X"));
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996"));
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_F(PipeSteps, TheEndOfTheLauncherClosesThePipe) {
  Connect();
  host.Destroy();
  EXPECT_THAT(pipe.TakeCalls(),
              ElementsAre("CloseHandle(pipe1)", "CloseHandle(event2)", "CloseHandle(event1)"));
}

// The handle goes first, then the events; nothing is called back and nothing waits.
TEST_F(PipeSteps, OutstandingOperationsDoNotHoldUpTheEnd) {
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.TakeCalls();
  host.Destroy();
  EXPECT_THAT(pipe.TakeCalls(),
              ElementsAre("CloseHandle(pipe1)", "CloseHandle(event2)", "CloseHandle(event1)"));
  EXPECT_EQ(host.Notifications().CallCount(), 1);  // "READY"
}

// What the system is asked to convert, with the sizes that it is told.
struct Conversion {
  UINT codePage;
  DWORD flags;
  std::string text;
  int size;
  int capacity;

  bool operator==(const Conversion&) const = default;
};

void PrintTo(const Conversion& conversion, std::ostream* out) {
  *out << conversion.codePage << ' ' << conversion.flags << " \"" << conversion.text << "\" "
       << conversion.size << " into " << conversion.capacity;
}

TEST_F(PipeSteps, EachTextOfACommandIsConvertedByTheSystem) {
  Connect();
  std::vector<Conversion> conversions;
  IMPORT_HOOK(MultiByteToWideChar)
  hook(host.Module(),
       [&](UINT codePage, DWORD flags, const char* bytes, int size, wchar_t* wide, int capacity) {
         conversions.push_back({codePage, flags, bytes, size, capacity});
         return hook.CallOriginal(codePage, flags, bytes, size, wide, capacity);
       });
  pipe.CompleteRead(kY + RawBytes("KE\x0E\0\x02\xC3\xA4\x05\0\xC3\xB6 \xC3\xBC") + kX);
  host->PollApps();
  EXPECT_THAT(
      conversions,
      ElementsAre(Conversion{CP_UTF8, 0, "Y", 2, 3}, Conversion{CP_UTF8, 0, "1", 2, 3},
                  Conversion{CP_UTF8, 0, "2", 2, 3}, Conversion{CP_UTF8, 0, "\xC3\xA4", 3, 4},
                  Conversion{CP_UTF8, 0, "\xC3\xB6", 3, 4},
                  Conversion{CP_UTF8, 0, "\xC3\xBC", 3, 4}, Conversion{CP_UTF8, 0, "X", 2, 3},
                  Conversion{CP_UTF8, 0, "", 1, 2}));
  EXPECT_THAT(
      host.Drain(),
      ElementsAre(kYEvent, Event{L"SOLANO-GAME", L"\u00E4", {L"\u00F6", L"\u00FC"}}, kXEvent));
}

TEST_F(PipeSteps, OnlyAnAttemptConvertsThePath) {
  std::vector<std::wstring> paths;
  IMPORT_HOOK(WideCharToMultiByte)
  hook(host.Module(), [&](UINT codePage, DWORD flags, const wchar_t* wide, int size, char* bytes,
                          int capacity, const char* defaultChar, BOOL* usedDefault) {
    EXPECT_EQ(codePage, UINT{CP_UTF8});
    EXPECT_EQ(flags, 0U);
    paths.emplace_back(wide);
    EXPECT_EQ(size, static_cast<int>(paths.back().size()) + 1);
    EXPECT_EQ(capacity, static_cast<int>(paths.back().size()) * 8 + 1);
    EXPECT_EQ(defaultChar, nullptr);
    EXPECT_EQ(usedDefault, nullptr);
    return hook.CallOriginal(codePage, flags, wide, size, bytes, capacity, defaultChar,
                             usedDefault);
  });
  pipe.Offer();
  host->PollApps();
  EXPECT_EQ(paths.size(), 7U);
  EXPECT_THAT(paths, testing::Contains(LR"(\\.\pipe\solano_pellmar)"));
  paths.clear();
  host->PollApps();
  EXPECT_EQ(paths.size(), 6U);
  EXPECT_THAT(paths, Not(testing::Contains(LR"(\\.\pipe\solano_pellmar)")));
}

// The lines about pipes among those of the launcher's end.
std::vector<std::string> PipeLines(const std::string& text) {
  std::vector<std::string> lines = Lines(text);
  std::erase_if(lines, [](const std::string& line) { return !line.starts_with("Pellmar"); });
  return lines;
}

TEST_F(PipeSteps, TheEndOfAConnectionIsLogged) {
  Connect();
  host.Destroy();
  const std::vector<std::string> lines = PipeLines(TakeLog());
  ASSERT_EQ(lines.size(), 1U);
  const std::string beginning = "PellmarAppBase::Disconnect: Deleting PipeClient ";
  const std::string middle = " from instance ";
  ASSERT_EQ(lines[0].size(), beginning.size() + 16 + middle.size() + 16);
  EXPECT_EQ(lines[0].substr(0, beginning.size()), beginning);
  EXPECT_EQ(lines[0].substr(beginning.size() + 16, middle.size()), middle);
}

TEST_F(PipeSteps, TheEndIsLoggedBeforeThePipeIsClosed) {
  Connect();
  std::vector<std::string> lines;
  pipe.OnClose([&] {
    for (std::string& line : PipeLines(TakeLog())) lines.push_back(std::move(line));
    pipe.Note(std::to_string(lines.size()));
  });
  host.Destroy();
  EXPECT_THAT(pipe.TakeCalls(), ElementsAre("1", "CloseHandle(pipe1)", "1", "CloseHandle(event2)",
                                            "1", "CloseHandle(event1)"));
}

// The line about a command and the one about the end name the same object.
TEST_F(PipeSteps, LinesOfOneApplicationNameTheSameInstance) {
  Connect();
  pipe.CompleteRead(kX);
  host->PollApps();
  const std::string posting = "GenericPellmarCommand::execute: Posting event to instance ";
  const std::string text = TakeLog();
  const std::size_t begin = text.find(posting);
  ASSERT_NE(begin, std::string::npos);
  const std::string instance = text.substr(begin + posting.size(), 16);
  host.Destroy();
  const std::vector<std::string> lines = PipeLines(TakeLog());
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], testing::EndsWith(" from instance " + instance));
}

TEST_F(PipeSteps, WithoutAConnectionTheEndIsSilent) {
  host->PollApps();
  ForgetLog();
  host.Destroy();
  EXPECT_THAT(PipeLines(TakeLog()), IsEmpty());
}

TEST_F(PipeSteps, NothingThatWaitsOrCallsBackIsEvenImported) {
  for (const Import& import : ListImports(host.Module())) {
    EXPECT_THAT(import.function,
                Not(testing::AnyOf("CancelIo", "CancelIoEx", "CancelSynchronousIo",
                                   "WaitNamedPipeA", "WaitNamedPipeW", "GetOverlappedResultEx",
                                   "CallNamedPipeA", "TransactNamedPipe")));
  }
}

}  // namespace
}  // namespace test_support
