// helperx64.exe of the kit.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/host/kit/kit_program.h"
#include "tests/support/environment_variable.h"
#include "tests/support/scoped_handle.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kHelper[] = L"helperx64.exe";

std::string FileText(const std::wstring& path) {
  const ScopedHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                      nullptr));
  if (!file) return "<no file>";
  constexpr std::size_t kMost = 65536;
  const Bytes bytes = [&file] {
    Bytes all(kMost);
    DWORD size = 0;
    ReadFile(file.Get(), all.data(), kMost, &size, nullptr);
    all.resize(size);
    return all;
  }();
  return std::string(bytes.begin(), bytes.end());
}

/// What the helper wrote as its answer to a ping line.
struct PingOutcome {
  bool connected = false;
  Bytes message;  // the first one
  DWORD exitCode = STILL_ACTIVE;
  std::string output;
};

/// A ping line's pipe, as the launcher offers it. `gate` is set once the helper runs.
PingOutcome Ping(const std::wstring& mode, const std::wstring& addresses, HANDLE gate = nullptr) {
  const EnvironmentVariable pingMode(L"KIT_HELPER_PING_MODE", mode);
  const std::wstring pipeName = UniqueName(LR"(\\.\pipe\kit_helper_test)");
  const ScopedHandle pipe(CreateNamedPipeW(pipeName.c_str(),
                                           PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                           PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                                           PIPE_UNLIMITED_INSTANCES, 1024, 1024, 1000, nullptr));
  if (!pipe) ThrowLastError("CreateNamedPipe");
  const ScopedHandle connected = MakeManualResetEvent();
  OVERLAPPED connecting{};
  connecting.hEvent = connected.Get();
  ConnectNamedPipe(pipe.Get(), &connecting);

  KitProgram helper(kHelper, L"ICMP|500|" + pipeName + L"|" + addresses);
  if (gate != nullptr) SetEvent(gate);
  PingOutcome outcome;
  // Either it connects or it ends.
  const HANDLE objects[] = {connected.Get(), helper.Process()};
  outcome.connected = WaitForMultipleObjects(2, objects, FALSE, kPatienceMs) == WAIT_OBJECT_0;
  if (outcome.connected) {
    Bytes buffer(4096);
    const ScopedHandle readDone = MakeManualResetEvent();
    OVERLAPPED reading{};
    reading.hEvent = readDone.Get();
    DWORD size = 0;
    // A read that is refused at once sets no event: there is nothing to wait for.
    const bool started = ReadFile(pipe.Get(), buffer.data(), 4096, nullptr, &reading) ||
                         GetLastError() == ERROR_IO_PENDING;
    if (!started || !GetOverlappedResult(pipe.Get(), &reading, &size, TRUE)) size = 0;
    buffer.resize(size);
    outcome.message = buffer;
  } else {
    CancelIo(pipe.Get());
    DWORD ignored = 0;
    GetOverlappedResult(pipe.Get(), &connecting, &ignored, TRUE);
  }
  outcome.exitCode = helper.ExitCode();
  outcome.output = helper.Output();
  return outcome;
}

Bytes Part(const Bytes& bytes, std::size_t offset, std::size_t size) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  return Bytes(begin, begin + static_cast<std::ptrdiff_t>(size));
}

TEST(KitHelper, ExplainsItself) {
  KitProgram helper(kHelper, L"--help");
  EXPECT_EQ(helper.ExitCode(), 0U);
  EXPECT_TRUE(
      helper.Output().starts_with("helperx64 - stand-in for the launcher's helper program\n"));
}

TEST(KitHelper, NamesWhatIsWrongWithItsLine) {
  KitProgram none(kHelper, std::wstring());
  EXPECT_EQ(none.ExitCode(), 2U);
  EXPECT_EQ(none.Output(), "helperx64: a line of parameters is missing\nTry: helperx64 --help\n");
  KitProgram fiveFields(kHelper, L"NO|SW_SHOWNA|C:\\x.exe|x.exe|C:\\");
  EXPECT_EQ(fiveFields.ExitCode(), 2U);
  EXPECT_EQ(fiveFields.Output(),
            "helper: wrong line of parameters, a launch line has six fields, this one has 5\n");
}

TEST(KitHelper, RecordsItsLineAsItStands) {
  const TempDirectory directory;
  const std::wstring record = directory.Join(L"record.txt");
  const EnvironmentVariable recordVariable(L"KIT_HELPER_RECORD", record);
  KitProgram first(kHelper, L"NO|SW_SHOWNA|ostrel://a \"b\\\"  \u00fc|||");
  EXPECT_EQ(first.ExitCode(), 0U);
  EXPECT_EQ(first.Output(), "helper: link ostrel://a \"b\\\"  \xC3\xBC (recorded, not opened)\n");
  KitProgram second(kHelper, L"YES|SW_SHOWNA|ostrel://|||");
  EXPECT_EQ(second.ExitCode(), 0U);
  EXPECT_EQ(FileText(record),
            "NO|SW_SHOWNA|ostrel://a \"b\\\"  \xC3\xBC|||\nYES|SW_SHOWNA|ostrel://|||\n");
}

TEST(KitHelper, StartsTheProgramInItsDirectoryWithItsCommandLine) {
  const TempDirectory directory;
  const std::wstring game =
      directory.CopyFile(ProgramDirectory() + L"\\demo_game.exe", L"a game.exe");
  const std::wstring pipeName = UniqueName(LR"(\\.\pipe\kit_helper_test)");
  const std::wstring commandLine = L"--pipe " + pipeName + L" --wait 60 --log \"its log.txt\"";
  KitProgram helper(
      kHelper, L"YES|SW_SHOWNA|" + game + L"|a game.exe|" + directory.Path() + L"|" + commandLine);
  EXPECT_EQ(helper.WaitForLine("helper: started " + Narrow(game) + " as process ").empty(), false);
  // The game ends when its only launcher has left.
  ConnectWhenOffered(pipeName);
  EXPECT_EQ(helper.ExitCode(), 0U);  // when the game, which prints to the same pipe, has ended, too
  EXPECT_EQ(Lines(FileText(directory.Join(L"its log.txt"))).at(0),
            "game: started with the command line \"" + Narrow(game) + "\" " + Narrow(commandLine));
}

TEST(KitHelper, TellsThatAProgramCannotBeStarted) {
  const TempDirectory directory;
  const std::wstring log = directory.Join(L"log.txt");
  const EnvironmentVariable logVariable(L"KIT_HELPER_LOG", log);
  KitProgram helper(kHelper, L"YES|SW_SHOWNA|" + directory.Join(L"none.exe") + L"|none.exe||");
  EXPECT_EQ(helper.ExitCode(), 1U);
  EXPECT_TRUE(
      helper.Output().starts_with("helper: cannot start " + Narrow(directory.Join(L"none.exe"))));
  EXPECT_EQ(FileText(log), helper.Output());
}

TEST(KitHelper, SetsItsEventWhenItIsDone) {
  const std::wstring name = UniqueName(L"kit_helper_test_done");
  const ScopedHandle done(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
  const EnvironmentVariable doneVariable(L"KIT_HELPER_DONE_EVENT", name);
  KitProgram helper(kHelper, L"NO|SW_SHOWNA|ostrel://|||");
  EXPECT_TRUE(WaitFor(done.Get(), kPatienceMs));
}

TEST(KitHelper, AnswersPingsWithFixedTimes) {
  const PingOutcome outcome = Ping(L"fixed", L"10.0.0.1|");
  EXPECT_EQ(outcome.exitCode, 0U);
  ASSERT_EQ(outcome.message.size(), 1024U);
  EXPECT_EQ(Part(outcome.message, 0, 8), (Bytes{1, 0, 0, 0, 2, 0, 0, 0}));
  EXPECT_EQ(Part(outcome.message, 1016, 8), (Bytes{255, 0, 0, 0, 0, 1, 0, 0}));
}

TEST(KitHelper, AnswersPingsWithGarbage) {
  EXPECT_EQ(Ping(L"garbage", L"10.0.0.1|").message, Bytes(1024, 0xA5));
}

TEST(KitHelper, AnswersPingsWithOneByteTooFewOrTooMany) {
  EXPECT_EQ(Ping(L"short1023", L"10.0.0.1|").message.size(), 1023U);
  EXPECT_EQ(Ping(L"long1025", L"10.0.0.1|").message.size(), 1025U);
}

TEST(KitHelper, ConnectsAndStaysSilent) {
  const PingOutcome outcome = Ping(L"silent", L"10.0.0.1|");
  EXPECT_TRUE(outcome.connected);
  EXPECT_EQ(outcome.message.size(), 0U);
  EXPECT_EQ(outcome.exitCode, 0U);
}

TEST(KitHelper, StaysAway) {
  const PingOutcome outcome = Ping(L"absent", L"10.0.0.1|");
  EXPECT_FALSE(outcome.connected);
  EXPECT_EQ(outcome.exitCode, 0U);
}

TEST(KitHelper, WaitsForItsGate) {
  const std::wstring name = UniqueName(L"kit_helper_test_gate");
  const ScopedHandle gate(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
  const EnvironmentVariable gateVariable(L"KIT_HELPER_PING_GATE", name);
  const PingOutcome outcome = Ping(L"late", L"10.0.0.1|", gate.Get());
  EXPECT_EQ(outcome.message.size(), 1024U);
  EXPECT_EQ(outcome.exitCode, 0U);
}

TEST(KitHelper, NeedsAGateToBeLate) {
  const PingOutcome outcome = Ping(L"late", L"10.0.0.1|");
  EXPECT_FALSE(outcome.connected);
  EXPECT_EQ(outcome.exitCode, 1U);
  EXPECT_TRUE(outcome.output.starts_with(
      "helper: mode late needs the name of an event in KIT_HELPER_PING_GATE"));
}

TEST(KitHelper, RefusesAnUnknownPingMode) {
  const PingOutcome outcome = Ping(L"Echo", L"10.0.0.1|");
  EXPECT_EQ(outcome.exitCode, 1U);
  EXPECT_EQ(outcome.output, "helper: KIT_HELPER_PING_MODE has the unknown value Echo\n");
}

TEST(KitHelper, SendsEchoRequests) {
  const PingOutcome outcome = Ping(L"echo", L"127.0.0.1|not.an.address|127.0.0.2|");
  EXPECT_EQ(outcome.exitCode, 0U);
  ASSERT_EQ(outcome.message.size(), 1024U);
  const auto isTimeOrNoAnswer = [&outcome](std::size_t index) {
    const Bytes value = Part(outcome.message, index * 4, 4);
    // At most 500 ms; no answer where the system does not let this user send echo requests.
    return value == Bytes{255, 255, 255, 255} ||
           (value[3] == 0 && value[2] == 0 && value[1] * 256 + value[0] <= 500);
  };
  EXPECT_TRUE(isTimeOrNoAnswer(0));
  EXPECT_EQ(Part(outcome.message, 4, 4), (Bytes{255, 255, 255, 255}));
  EXPECT_TRUE(isTimeOrNoAnswer(2));
  EXPECT_EQ(Part(outcome.message, 12, 1012), Bytes(1012, 0));
}

}  // namespace
}  // namespace test_support
