// The steps of a game's pipe: every call that the library makes to the system, in order, and what
// each answer of the system leads to.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/host/gamepipe/pipe_session.h"
#include "tests/support/allocation_tracker.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

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

// The path becomes narrow anew each time.
TEST_F(PipeSteps, EachPollMakesOneAttemptWhileThereIsNoPipe) {
  const std::wstring path = LR"(\\.\pipe\solano_pellmar)";
  IMPORT_HOOK(WideCharToMultiByte) narrowings(host.Module());
  narrowings.SetReplacement([&](UINT codePage, DWORD flags, const wchar_t* wide, auto... rest) {
    if (wide == path) pipe.Note("WideCharToMultiByte");
    return narrowings.CallOriginal(codePage, flags, wide, rest...);
  });
  const DWORD errors[] = {ERROR_FILE_NOT_FOUND, ERROR_PIPE_BUSY, ERROR_ACCESS_DENIED};
  for (int i = 0; i < 3; ++i) {
    pipe.Refuse(errors[i]);
    const std::string first = "event" + std::to_string(2 * i + 1);
    const std::string second = "event" + std::to_string(2 * i + 2);
    EXPECT_THAT(
        Poll(),
        ElementsAre("WideCharToMultiByte", "CreateEventW(0, 1, 0, 0) = " + first,
                    "CreateEventW(0, 1, 0, 0) = " + second,
                    R"(CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0))"
                    " = error " +
                        std::to_string(errors[i]),
                    "CloseHandle(" + second + ")", "CloseHandle(" + first + ")"));
  }
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(TakeLog(), "");
}

// A host may have put a function of its own into the first slot.
TEST_F(PipeSteps, ChangesOfStateArePostedThroughTheFirstSlot) {
  constexpr std::size_t kSlots = 19;
  static std::vector<Event> posted;
  static void (*original)(ILauncher*, const wchar_t*, const wchar_t*, const wchar_t*,
                          const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                          const wchar_t*, const wchar_t*, const wchar_t*);
  posted.clear();
  void**& table = *reinterpret_cast<void***>(host.Launcher());
  void** const tableBefore = table;
  std::vector<void*> copy(table - 2, table + kSlots);  // what lies before the slots as well
  original = reinterpret_cast<decltype(original)>(table[0]);
  const decltype(original) ours =
      [](ILauncher* launcher, const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
         const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3, const wchar_t* arg4,
         const wchar_t* arg5, const wchar_t* arg6, const wchar_t* arg7) {
        posted.push_back({source, name, {arg0}});
        for (const wchar_t* const further : {arg1, arg2, arg3, arg4, arg5, arg6, arg7}) {
          EXPECT_EQ(further, nullptr);
        }
        original(launcher, source, name, arg0, arg1, arg2, arg3, arg4, arg5, arg6, arg7);
      };
  copy[2] = reinterpret_cast<void*>(ours);
  table = copy.data() + 2;
  Connect();
  pipe.CompleteRead(kX);
  host->PollApps();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  table = tableBefore;
  EXPECT_THAT(posted, ElementsAre(Ready(), GameIsGone()));
  // Commands are queued another way.
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, GameIsGone()));
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

TEST_F(PipeSteps, AnEmptyReadChangesNothing) {
  Connect();
  pipe.CompleteRead("");
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 0", "ResetEvent(event2)",
                                  "ReadFile(pipe1, 4096, 0, event2) = pending"));
  EXPECT_THAT(host.Drain(), IsEmpty());
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

TEST_F(PipeSteps, ACommandIsLoggedThenConvertedThenPosted) {
  Connect();
  const auto note = [&](const std::string& call) { pipe.Note(TakeLog() + call); };
  host.Notifications().SetInsideCall([&] { note("notify"); });
  IMPORT_HOOK(MultiByteToWideChar) widenings(host.Module());
  widenings.SetReplacement([&](UINT codePage, DWORD flags, const char* bytes, auto... rest) {
    note("widen " + std::string(bytes));
    return widenings.CallOriginal(codePage, flags, bytes, rest...);
  });
  pipe.CompleteRead(kY);
  EXPECT_THAT(Poll(),
              ElementsAre("GetOverlappedResult(pipe1, event2, 0) = 11",
                          "GenericPellmarCommand::execute: args 1 2\nwiden Y", "widen 1", "widen 2",
                          AllOf(StartsWith("GenericPellmarCommand::execute: Posting event to "
                                           "instance "),
                                EndsWith("\nnotify")),
                          "ResetEvent(event2)", "ReadFile(pipe1, 4096, 0, event2) = pending"));
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
                                         std::pair(DWORD{ERROR_MORE_DATA}, "000000ea"),
                                         std::pair(DWORD{ERROR_OPERATION_ABORTED}, "000003e3"),
                                         std::pair(DWORD{0xC0DEFFEE}, "c0deffee")));

// "Pending" is an answer at the start of an operation alone, "incomplete" at its end alone.
TEST_F(PipeSteps, PendingAndIncompleteInEachOthersPlaceAreFailures) {
  const auto expectLoss = [&](const std::string& error) {
    ForgetLog();
    host->PollApps();
    EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
    EXPECT_EQ(TakeLog(), "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error " +
                             error + "\n");
  };
  Connect();
  pipe.FailRead(ERROR_IO_PENDING);
  expectLoss("000003e5");
  Connect();
  pipe.CompleteRead("");
  pipe.NextReadFails(ERROR_IO_INCOMPLETE);
  expectLoss("000003e4");
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.FailWrite(ERROR_IO_PENDING);
  expectLoss("000003e5");
  Connect();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  Send(L"Y");
  pipe.CompleteWrite();
  pipe.NextWriteFails(ERROR_IO_INCOMPLETE);
  expectLoss("000003e4");
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

TEST_F(PipeSteps, BytesThatAreNoFrameEndTheConnectionAfterTheFramesBefore) {
  Connect();
  pipe.CompleteRead(kX + kY + "hello" + kX);
  const Calls calls = Poll();
  EXPECT_THAT(calls, testing::Contains("CloseHandle(pipe1)"));
  EXPECT_THAT(calls, Not(testing::Contains("ReadFile(pipe1, 4096, 0, event2) = pending")));
  EXPECT_THAT(host.Drain(), ElementsAre(kXEvent, kYEvent, GameIsGone()));
  EXPECT_THAT(TakeLog(), EndsWith("PellmarAppBase::PollPellmar: Update of AppLauncher "
                                  "failed with error 0000000d\n"));
}

// The next ones are delivered: each allocation of a poll fails once.
TEST_F(PipeSteps, ACommandWithoutMemoryIsLostAlone) {
  Connect();
  int lost = 0;
  bool wasReached = true;
  for (std::size_t failing = 0; wasReached; ++failing) {
    pipe.CompleteRead(kY + kX);
    {
      AllocationTracker memory(host.Module());
      memory.FailOne(failing);
      host->PollApps();
      wasReached = memory.Count() > failing;
    }
    host->PollApps();
    const std::vector<Event> events = host.Drain();
    EXPECT_THAT(events, testing::AnyOf(ElementsAre(kYEvent, kXEvent), ElementsAre(kXEvent),
                                       ElementsAre(kYEvent)));
    if (events == std::vector{kXEvent}) ++lost;
  }
  EXPECT_GT(lost, 0);
}

// A system that refuses without a reason: the client then takes itself for connected.
TEST_F(PipeSteps, AConnectionWithoutAPipeIsFoundByTheNextPoll) {
  pipe.Refuse(ERROR_SUCCESS);
  host->PollApps();
  EXPECT_THAT(host.Drain(), ElementsAre(Ready()));
  // Nothing is sent, but there is a connection to send to.
  pipe.TakeCalls();
  EXPECT_TRUE(Send(L"X"));
  EXPECT_THAT(pipe.TakeCalls(), IsEmpty());
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

TEST_F(PipeSteps, TornWritesEndTheConnection) {
  for (const unsigned int written : {0U, 7U, 9U}) {
    Connect();
    pipe.NextWriteStaysOutstanding();
    Send(L"X");  // 8 bytes
    pipe.CompleteWrite(written);
    ForgetLog();
    host->PollApps();
    EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
    EXPECT_EQ(TakeLog(),
              "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006f\n");
  }
}

TEST_F(PipeSteps, AWriteThatFailsAtOnceIsNotReported) {
  Connect();
  pipe.NextWriteFails(ERROR_NO_DATA);
  EXPECT_TRUE(Send(L"X"));
  EXPECT_THAT(Poll(), ElementsAre("GetOverlappedResult(pipe1, event2, 0) = error 996"));
  EXPECT_THAT(host.Drain(), IsEmpty());
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

// The lines about pipes among those of the launcher's end.
std::vector<std::string> PipeLines(const std::string& text) {
  std::vector<std::string> lines = Lines(text);
  std::erase_if(lines, [](const std::string& line) { return !line.starts_with("Pellmar"); });
  return lines;
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
  EXPECT_THAT(lines[0], EndsWith(" from instance " + instance));
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
