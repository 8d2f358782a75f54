// Commands that a host sends to a game.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/gamepipe/pipe_session.h"

namespace test_support {
namespace {

using testing::IsEmpty;

class PipeCommands : public PipeSession {
 protected:
  void SetUp() override {
    PipeSession::SetUp();
    Connect();
  }

  /// What `Send` prints to standard output, which it has to succeed with or not.
  std::string Printed(bool expected) {
    const StreamCapture output(StreamCapture::Stream::kOutput);
    pipe.OnWrite([&] { whenWritten = output.Text(); });
    const bool sent = Send(L"Go", L"a");
    const std::string text = output.Text();
    EXPECT_EQ(sent, expected);
    return text;
  }

  std::string whenWritten;
};

TEST_F(PipeCommands, AreSentAsOneFrameEach) {
  const struct {
    const wchar_t* command;
    std::vector<const wchar_t*> args;
    std::string frame;
  } cases[] = {
      {L"Go",
       {L"a", L"b", L"c", L"d"},
       RawBytes("KE\x10\0\x02Go\x07\0"
                "a b c d")},
      {L"Go",
       {L"a", L"b", L"c", L""},
       RawBytes("KE\x0E\0\x02Go\x05\0"
                "a b c")},
      {L"Go",
       {L"a", L"b", L"", L""},
       RawBytes("KE\x0C\0\x02Go\x03\0"
                "a b")},
      {L"Go",
       {L"a", L"", L"", L""},
       RawBytes("KE\x0A\0\x02Go\x01\0"
                "a")},
      {L"Go", {L"", L"", L"", L""}, RawBytes("KE\x09\0\x02Go\0\0")},
      {L"", {L"", L"", L"", L""}, RawBytes("KE\x07\0\0\0\0")},
      // What follows an empty one is dropped, but the first is taken even when it is empty.
      {L"Go",
       {L"a", L"", L"c", L"d"},
       RawBytes("KE\x0A\0\x02Go\x01\0"
                "a")},
      {L"Go",
       {L"a", L"", L"", L"d"},
       RawBytes("KE\x0A\0\x02Go\x01\0"
                "a")},
      {L"Go",
       {L"a", L"b", L"", L"d"},
       RawBytes("KE\x0C\0\x02Go\x03\0"
                "a b")},
      {L"Go",
       {L"", L"b", L"", L""},
       RawBytes("KE\x0B\0\x02Go\x02\0"
                " b")},
      {L"Go",
       {L"", L"b", L"c", L"d"},
       RawBytes("KE\x0F\0\x02Go\x06\0"
                " b c d")},
      {L"Go", {L"", L"", L"c", L"d"}, RawBytes("KE\x09\0\x02Go\0\0")},
      // Blanks stay; text is UTF-8.
      {L"Go",
       {L"a  b ", L" c", L"", L""},
       RawBytes("KE\x11\0\x02Go\x08\0"
                "a  b   c")},
      {L"Gr\u00FC\u00DF",
       {L"\u65E5\u672C", L"\U0001F3AE", L"", L""},
       RawBytes("KE\x18\0\x06"
                "Gr\xC3\xBC\xC3\x9F"
                "\x0B\0"
                "\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAE")},
  };
  for (const auto& [command, args, frame] : cases) {
    SCOPED_TRACE(testing::PrintToString(frame));
    EXPECT_TRUE(Send(command, args[0], args[1], args[2], args[3]));
    EXPECT_EQ(pipe.TakeWritten(), frame);
  }
  EXPECT_THAT(host.Drain(), IsEmpty());
  // To the game that was named, and to no other.
  EXPECT_FALSE(host->SendCommand(L"TAVR-GAME", L"Go", L"a", L"", L"", L""));
  EXPECT_EQ(pipe.TakeWritten(), "");
}

// No length is too long for one write, for what waits after it or for the log.
TEST_F(PipeCommands, LongOnesAreSentAndLoggedWhole) {
  const std::wstring name(300, L'n');
  const std::wstring arg(150000, L'a');
  const std::string narrowName(300, 'n');
  const std::string narrowArg(150000, 'a');
  // 300 is 0x012C, 150000 + 2 is 0x249F2, 300 + 0x249F2 + 7 is 0x24B25.
  const std::string frame = RawBytes("KE\x25\x4B\x2C") + narrowName + "\xF2\x49" + narrowArg + " b";
  pipe.NextWriteStaysOutstanding();
  EXPECT_TRUE(Send(name.c_str(), arg.c_str(), L"b"));
  EXPECT_EQ(pipe.TakeCalls().back(), "WriteFile(pipe1, 150309, 0, event1) = pending");
  EXPECT_TRUE(pipe.TakeWritten() == frame);
  EXPECT_TRUE(TakeLog() == "AshgroveApp::SendCommand: Creating command " + narrowName +
                               " with args " + narrowArg +
                               ", b, , \n"
                               "AshgroveApp::SendCommand: cmd=" +
                               narrowName + " args=" + narrowArg + " b\n");
  std::string queued;
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(Send(name.c_str(), arg.c_str(), L"b"));
    queued += frame;
  }
  pipe.CompleteWrite();
  EXPECT_EQ(Poll().back(), "WriteFile(pipe1, 1503090, 0, event1) = done");
  EXPECT_TRUE(pipe.TakeWritten() == queued);
}

TEST_F(PipeCommands, AreLoggedBeforeTheyAreWritten) {
  std::string logged;
  pipe.OnWrite([&] { logged = TakeLog(); });
  Send(L"Gr\u00FC\u00DF", L"", L"\u65E5", L"c", L"d");
  EXPECT_EQ(logged,
            "AshgroveApp::SendCommand: Creating command Gr\xC3\xBC\xC3\x9F with args , "
            "\xE6\x97\xA5, c, d\n"
            "AshgroveApp::SendCommand: cmd=Gr\xC3\xBC\xC3\x9F args= \xE6\x97\xA5 c d\n");
  Send(L"Go", L"1", L"two", L"", L"four");
  EXPECT_EQ(logged,
            "AshgroveApp::SendCommand: Creating command Go with args 1, two, , four\n"
            "AshgroveApp::SendCommand: cmd=Go args=1 two\n");
}

TEST_F(PipeCommands, TheirProgressGoesToStandardOutput) {
  const std::string both =
      "AshgroveApp::SendCommand: Sending command!\nAshgroveApp::SendCommand: DONE!\n";
  EXPECT_EQ(Printed(true), both);
  EXPECT_EQ(whenWritten, "AshgroveApp::SendCommand: Sending command!\n");
  // Also when there is a connection, but nothing to write to.
  pipe.FailRead(ERROR_BROKEN_PIPE);
  pipe.Refuse(ERROR_SUCCESS);
  host->PollApps();
  pipe.TakeWritten();
  EXPECT_EQ(Printed(true), both);
  EXPECT_EQ(pipe.TakeWritten(), "");
}

class PipeCommandsUnconnected : public PipeCommands {
 protected:
  void SetUp() override { PipeSession::SetUp(); }
};

TEST_F(PipeCommandsUnconnected, AreRefused) {
  const auto expectRefusal = [&] {
    ForgetLog();
    EXPECT_EQ(Printed(false), "");
    EXPECT_EQ(TakeLog(), "AshgroveApp::SendCommand: Not connected, aborting\n");
    EXPECT_EQ(pipe.TakeWritten(), "");
  };
  expectRefusal();
  host->PollApps();  // finds no pipe
  expectRefusal();
  Connect();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  expectRefusal();
}

}  // namespace
}  // namespace test_support
