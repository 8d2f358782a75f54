// How a host's commands reach a running game.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/dll_host.h"
#include "tests/support/game_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/pipe_server.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kSolanoPipe[] = LR"(\\.\pipe\solano_pellmar)";

/// A launcher whose game is connected.
class AppsCommand : public testing::Test {
 protected:
  void SetUp() override {
    host->PollApps();
    ASSERT_TRUE(game.Accept(kPatienceMs));
    ASSERT_THAT(host.Drain(), ElementsAre(Event{L"SOLANO-GAME", L"StateChanged", {L"READY"}}));
  }

  /// Sends command "c" and returns the frame's arguments, of `count` bytes.
  std::string SentArguments(const wchar_t* arg0, const wchar_t* arg1, const wchar_t* arg2,
                            const wchar_t* arg3, std::size_t count) {
    EXPECT_TRUE(host->SendCommand(kSolanoId, L"c", arg0, arg1, arg2, arg3));
    const std::string frame = game.Read(8 + count, kPatienceMs);
    EXPECT_EQ(frame.size(), 8 + count);
    EXPECT_EQ(game.Available(), 0U);
    return frame.size() < 8 ? frame : frame.substr(8);
  }

  PipeServer game{kSolanoPipe};
  DllHost host;
};

TEST_F(AppsCommand, GoesOutAsOneFrame) {
  EXPECT_TRUE(host->SendCommand(kSolanoId, L"join", L"alpha", L"2", L"x", L"y"));
  EXPECT_EQ(game.Read(22, kPatienceMs), std::string("KE\x16\x00\x04join\x0B\x00"
                                                    "alpha 2 x y",
                                                    22));
  EXPECT_EQ(game.Available(), 0U);
}

TEST_F(AppsCommand, IsLoggedStepByStep) {
  const StreamCapture output(StreamCapture::Stream::kOutput);
  bool sent = false;
  const std::string log =
      LogOf([&] { sent = host->SendCommand(kSolanoId, L"join", L"a", L"b", L"", L"d"); });
  const std::string printed = output.Text();
  EXPECT_TRUE(sent);
  EXPECT_EQ(log,
            "AshgroveApp::SendCommand: Creating command join with args a, b, , d\n"
            "AshgroveApp::SendCommand: cmd=join args=a b\n");
  EXPECT_EQ(printed,
            "AshgroveApp::SendCommand: Sending command!\n"
            "AshgroveApp::SendCommand: DONE!\n");
}

TEST_F(AppsCommand, IsSentBetweenTheTwoProgressLines) {
  const StreamCapture output(StreamCapture::Stream::kOutput);
  std::string printedBefore;
  IMPORT_HOOK(WriteFile) writes(host.Module());
  writes.SetReplacement(
      [&](HANDLE file, LPCVOID data, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
        // The pipe is written with an OVERLAPPED, the log is not.
        if (overlapped != nullptr) printedBefore = output.Text();
        return writes.CallOriginal(file, data, size, written, overlapped);
      });
  EXPECT_TRUE(host->SendCommand(kSolanoId, L"c", L"", L"", L"", L""));
  EXPECT_EQ(printedBefore, "AshgroveApp::SendCommand: Sending command!\n");
}

TEST_F(AppsCommand, ArgumentsEndAtTheFirstEmptyOneBehindTheFirst) {
  EXPECT_EQ(SentArguments(L"a", L"b", L"c", L"d", 7), "a b c d");
  EXPECT_EQ(SentArguments(L"a", L"b", L"c", L"", 5), "a b c");
  EXPECT_EQ(SentArguments(L"a", L"b", L"", L"d", 3), "a b");
  EXPECT_EQ(SentArguments(L"a", L"", L"c", L"d", 1), "a");
  EXPECT_EQ(SentArguments(L"a", L"", L"", L"", 1), "a");
  EXPECT_EQ(SentArguments(L"", L"", L"", L"", 0), "");
}

TEST_F(AppsCommand, EmptyFirstArgumentLeavesItsBlank) {
  EXPECT_EQ(SentArguments(L"", L"b", L"", L"", 2), " b");
  EXPECT_EQ(SentArguments(L"", L"b", L"c", L"d", 6), " b c d");
  EXPECT_EQ(SentArguments(L"", L"", L"c", L"", 0), "");
}

TEST_F(AppsCommand, BlanksInArgumentsStay) {
  EXPECT_EQ(SentArguments(L"a  b", L" ", L"c", L"", 8), "a  b   c");
}

TEST_F(AppsCommand, TextBeyondAsciiIsUtf8) {
  EXPECT_TRUE(host->SendCommand(kSolanoId, L"\u00fc", L"\u4e2d", L"\U0001f600", L"", L""));
  EXPECT_EQ(game.Read(17, kPatienceMs),
            std::string("KE\x11\x00\x02\xC3\xBC\x08\x00\xE4\xB8\xAD \xF0\x9F\x98\x80", 17));
}

TEST_F(AppsCommand, InstallationDoesNotMatter) {
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  EXPECT_EQ(SentArguments(L"a", L"", L"", L"", 1), "a");
  EXPECT_EQ(opens.CallCount(), 0U);
}

// The connection exists until a poll finds it broken; that nothing goes out is not reported.
TEST_F(AppsCommand, SucceedsWhileTheLossOfTheGameIsUnknown) {
  game.Close();
  EXPECT_TRUE(host->SendCommand(kSolanoId, L"c", L"a", L"", L"", L""));
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(host.WaitForEvent(L"StateChanged", kPatienceMs, DllHost::Polling::kPollApps),
            (Event{L"SOLANO-GAME", L"StateChanged", {L"GAMEISGONE"}}));
  EXPECT_FALSE(host->SendCommand(kSolanoId, L"c", L"a", L"", L"", L""));
}

TEST(AppsCommandUnconnected, FailsWithALine) {
  const GameInstallation installed(kSolanoKey, kSolanoName);
  DllHost host;
  const StreamCapture output(StreamCapture::Stream::kOutput);
  bool sent = true;
  const std::string log =
      LogOf([&] { sent = host->SendCommand(kSolanoId, L"c", L"a", L"", L"", L""); });
  const std::string printed = output.Text();
  EXPECT_FALSE(sent);
  EXPECT_EQ(log, "AshgroveApp::SendCommand: Not connected, aborting\n");
  EXPECT_EQ(printed, "");
}

TEST(AppsCommandUnconnected, FailsForEveryGame) {
  DllHost host;
  for (const wchar_t* const id : kAllAppIds) {
    EXPECT_FALSE(host->SendCommand(id, L"c", L"", L"", L"", L"")) << id;
  }
}

}  // namespace
}  // namespace test_support
