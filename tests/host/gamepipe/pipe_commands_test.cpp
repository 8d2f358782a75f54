// Commands that a host sends to a game.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/host/gamepipe/pipe_session.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PipeCommands : public PipeSession {
 protected:
  void SetUp() override {
    PipeSession::SetUp();
    Connect();
  }

  /// The bytes that reach the game.
  std::string Sent(const wchar_t* command, const wchar_t* arg0, const wchar_t* arg1,
                   const wchar_t* arg2, const wchar_t* arg3) {
    EXPECT_TRUE(Send(command, arg0, arg1, arg2, arg3));
    return pipe.TakeWritten();
  }
};

TEST_F(PipeCommands, ArgumentsAreJoinedByBlanks) {
  EXPECT_EQ(Sent(L"Go", L"a", L"b", L"c", L"d"), RawBytes("KE\x10\0\x02Go\x07\0"
                                                          "a b c d"));
  EXPECT_EQ(Sent(L"Go", L"a", L"b", L"c", L""), RawBytes("KE\x0E\0\x02Go\x05\0"
                                                         "a b c"));
  EXPECT_EQ(Sent(L"Go", L"a", L"b", L"", L""), RawBytes("KE\x0C\0\x02Go\x03\0"
                                                        "a b"));
  EXPECT_EQ(Sent(L"Go", L"a", L"", L"", L""), RawBytes("KE\x0A\0\x02Go\x01\0"
                                                       "a"));
  EXPECT_EQ(Sent(L"Go", L"", L"", L"", L""), RawBytes("KE\x09\0\x02Go\0\0"));
}

TEST_F(PipeCommands, ArgumentsBehindAnEmptyOneAreDropped) {
  const std::string onlyFirst = RawBytes(
      "KE\x0A\0\x02Go\x01\0"
      "a");
  EXPECT_EQ(Sent(L"Go", L"a", L"", L"c", L"d"), onlyFirst);
  EXPECT_EQ(Sent(L"Go", L"a", L"", L"", L"d"), onlyFirst);
  EXPECT_EQ(Sent(L"Go", L"a", L"", L"c", L""), onlyFirst);
  EXPECT_EQ(Sent(L"Go", L"a", L"b", L"", L"d"), RawBytes("KE\x0C\0\x02Go\x03\0"
                                                         "a b"));
}

TEST_F(PipeCommands, TheFirstArgumentIsTakenEvenWhenEmpty) {
  EXPECT_EQ(Sent(L"Go", L"", L"b", L"", L""), RawBytes("KE\x0B\0\x02Go\x02\0"
                                                       " b"));
  EXPECT_EQ(Sent(L"Go", L"", L"b", L"c", L"d"), RawBytes("KE\x0F\0\x02Go\x06\0"
                                                         " b c d"));
  EXPECT_EQ(Sent(L"Go", L"", L"", L"c", L"d"), RawBytes("KE\x09\0\x02Go\0\0"));
}

TEST_F(PipeCommands, ArgumentsMayHoldBlanks) {
  EXPECT_EQ(Sent(L"Go", L"a  b ", L" c", L"", L""), RawBytes("KE\x11\0\x02Go\x08\0"
                                                             "a  b   c"));
}

TEST_F(PipeCommands, TheCommandMayBeEmpty) {
  EXPECT_EQ(Sent(L"", L"", L"", L"", L""), RawBytes("KE\x07\0\0\0\0"));
}

TEST_F(PipeCommands, TextIsSentAsUtf8) {
  EXPECT_EQ(Sent(L"Gr\u00FC\u00DF", L"\u65E5\u672C", L"\U0001F3AE", L"", L""),
            RawBytes("KE\x18\0\x06"
                     "Gr\xC3\xBC\xC3\x9F"
                     "\x0B\0"
                     "\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAE"));
}

TEST_F(PipeCommands, LongArgumentsAreSentWhole) {
  const std::wstring longArgument(70000, L'a');
  // 70000 is 0x11170, 70000 + 2 + 7 is 0x11179.
  EXPECT_EQ(Sent(L"Go", longArgument.c_str(), L"", L"", L""),
            RawBytes("KE\x79\x11\x02Go\x70\x11") + std::string(70000, 'a'));
  const std::wstring longName(300, L'n');
  // 300 is 0x012C, 300 + 1 + 7 is 0x0134.
  EXPECT_EQ(Sent(longName.c_str(), L"a", L"", L"", L""), RawBytes("KE\x34\x01\x2C") +
                                                             std::string(300, 'n') +
                                                             RawBytes("\x01\0"
                                                                      "a"));
}

TEST_F(PipeCommands, AreLogged) {
  Send(L"JoinGame", L"1", L"two", L"", L"four");
  EXPECT_EQ(TakeLog(),
            "AshgroveApp::SendCommand: Creating command JoinGame with args 1, two, , four\n"
            "AshgroveApp::SendCommand: cmd=JoinGame args=1 two\n");
  Send(L"Gr\u00FC\u00DF", L"", L"\u65E5", L"c", L"d");
  EXPECT_EQ(TakeLog(),
            "AshgroveApp::SendCommand: Creating command Gr\xC3\xBC\xC3\x9F with args , "
            "\xE6\x97\xA5, c, d\n"
            "AshgroveApp::SendCommand: cmd=Gr\xC3\xBC\xC3\x9F args= \xE6\x97\xA5 c d\n");
}

TEST_F(PipeCommands, LongOnesAreLoggedWhole) {
  Send(L"Go", std::wstring(5000, L'a').c_str(), L"b");
  EXPECT_EQ(TakeLog(), "AshgroveApp::SendCommand: Creating command Go with args " +
                           std::string(5000, 'a') +
                           ", b, , \n"
                           "AshgroveApp::SendCommand: cmd=Go args=" +
                           std::string(5000, 'a') + " b\n");
}

TEST_F(PipeCommands, TheirProgressGoesToStandardOutput) {
  std::string whenWritten;
  std::string atTheEnd;
  {
    const StreamCapture output(StreamCapture::Stream::kOutput);
    pipe.OnWrite([&] { whenWritten = output.Text(); });
    Send(L"Go");
    atTheEnd = output.Text();
  }
  EXPECT_EQ(whenWritten, "AshgroveApp::SendCommand: Sending command!\n");
  EXPECT_EQ(atTheEnd,
            "AshgroveApp::SendCommand: Sending command!\n"
            "AshgroveApp::SendCommand: DONE!\n");
}

TEST_F(PipeCommands, AreLoggedBeforeTheyAreWritten) {
  std::string logged;
  pipe.OnWrite([&] { logged = TakeLog(); });
  Send(L"Go", L"a");
  EXPECT_EQ(logged,
            "AshgroveApp::SendCommand: Creating command Go with args a, , , \n"
            "AshgroveApp::SendCommand: cmd=Go args=a\n");
}

TEST_F(PipeCommands, PostNoEvents) {
  const int before = host.Notifications().CallCount();
  Send(L"Go");
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(host.Notifications().CallCount(), before);
}

TEST_F(PipeCommands, GoToTheGameThatWasNamed) {
  EXPECT_FALSE(host->SendCommand(L"TAVR-GAME", L"Go", L"a", L"", L"", L""));
  EXPECT_EQ(pipe.TakeWritten(), "");
}

class PipeCommandsUnconnected : public PipeSession {
 protected:
  void ExpectRefusal() {
    ForgetLog();
    bool sent = true;
    std::string outputText;
    {
      const StreamCapture output(StreamCapture::Stream::kOutput);
      sent = Send(L"Go", L"a");
      outputText = output.Text();
    }
    EXPECT_FALSE(sent);
    EXPECT_EQ(TakeLog(), "AshgroveApp::SendCommand: Not connected, aborting\n");
    EXPECT_EQ(outputText, "");
    EXPECT_EQ(pipe.TakeWritten(), "");
  }
};

TEST_F(PipeCommandsUnconnected, AreRefusedBeforeAnyPoll) { ExpectRefusal(); }

TEST_F(PipeCommandsUnconnected, AreRefusedAfterAPollThatFoundNoPipe) {
  host->PollApps();
  ExpectRefusal();
}

TEST_F(PipeCommandsUnconnected, AreRefusedWhenTheGameIsGone) {
  Connect();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  ExpectRefusal();
}

TEST_F(PipeCommandsUnconnected, ReportProgressEvenWhenThePipeIsNotOpen) {
  pipe.Refuse(ERROR_SUCCESS);
  host->PollApps();
  bool sent = false;
  std::string outputText;
  {
    const StreamCapture output(StreamCapture::Stream::kOutput);
    sent = Send(L"Go", L"a");
    outputText = output.Text();
  }
  EXPECT_TRUE(sent);
  EXPECT_EQ(outputText,
            "AshgroveApp::SendCommand: Sending command!\n"
            "AshgroveApp::SendCommand: DONE!\n");
  EXPECT_EQ(pipe.TakeWritten(), "");
}

}  // namespace
}  // namespace test_support
