// demo_launcher.exe of the kit.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "tests/host/kit/kit_program.h"
#include "tests/host/query/query_server.h"
#include "tests/support/pipe_server.h"
#include "tests/support/udp_peer.h"

namespace test_support {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr wchar_t kLauncher[] = L"demo_launcher.exe";
constexpr wchar_t kPipes[] = LR"(\\.\pipe\)";

TEST(KitLauncher, ExplainsItself) {
  for (const auto& [arguments, beginning] :
       {std::pair{L"--help", "demo_launcher - stand-in for the launcher\n"},
        std::pair{L"pipe --help", "Connect to a game's pipe and follow it\n"},
        std::pair{L"query --help", "Ask a game server and print each field with its offset\n"}}) {
    KitProgram launcher(kLauncher, arguments);
    EXPECT_EQ(launcher.ExitCode(), 0U);
    EXPECT_THAT(launcher.Output(), StartsWith(beginning));
  }
}

TEST(KitLauncher, NamesWrongOptions) {
  for (const auto& [arguments, message] :
       {std::pair{L"", "A subcommand is required"}, std::pair{L"pipe", "NAME is required"},
        std::pair{L"query 127.0.0.1", "'127.0.0.1' is not of the form 192.0.2.1:25200"},
        std::pair{L"query 127.0.0.1:65536", "'127.0.0.1:65536' is not of the form"},
        std::pair{L"query 127.0.0.1:", "'127.0.0.1:' is not of the form"},
        std::pair{L"query localhost:1", "'localhost:1' is not of the form"},
        std::pair{L"query 127.0.0.1:1 --game-id x", "Could not convert: --game-id = x"}}) {
    KitProgram launcher(kLauncher, arguments);
    EXPECT_EQ(launcher.ExitCode(), 2U);
    EXPECT_THAT(launcher.Output(), StartsWith("demo_launcher: " + std::string(message)));
    EXPECT_THAT(launcher.Output(), EndsWith("Try: demo_launcher --help\n"));
  }
}

/// A game that a test plays, and the program that is connected to it.
class KitLauncherPipe : public testing::Test {
 protected:
  const std::wstring name = UniqueName(L"kit_launcher_test");
  PipeServer game{kPipes + name};
};

TEST_F(KitLauncherPipe, SendsCommandsAndPrintsFrames) {
  KitProgram launcher(kLauncher, L"pipe " + name + L" --send \"Say hi you\" --send X --count 2");
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(game.Read(24, kPatienceMs), BytesOf("KE\x10\x00\x03Say\x06\x00hi you"
                                                "KE\x08\x00\x01X\x00\x00"));
  // In two pieces, which end in the middle of a frame.
  ASSERT_TRUE(game.Write(BytesOf("KE\x0F\x00\x06Joi"), kPatienceMs));
  ASSERT_TRUE(game.Write(BytesOf("ned\x02\x00\xC3\x84KE\x08\x00\x01Y\x00\x00"), kPatienceMs));
  EXPECT_EQ(launcher.ExitCode(), 0U);
  EXPECT_THAT(launcher.Output(),
              EndsWith("launcher: received Joined [\xC3\x84]\n"
                       "    0  4B 45                     \"KE\"\n"
                       "    2  0F 00                     total length                15\n"
                       "    4  06                        length of the name          6\n"
                       "    5  4A 6F 69 6E 65 64         name                        \"Joined\"\n"
                       "   11  02 00                     length of the arguments     2\n"
                       "   13  C3 84                     arguments                   "
                       "\"\\xC3\\x84\"\n"
                       "launcher: received Y []\n"
                       "    0  4B 45                     \"KE\"\n"
                       "    2  08 00                     total length                8\n"
                       "    4  01                        length of the name          1\n"
                       "    5  59                        name                        \"Y\"\n"
                       "    6  00 00                     length of the arguments     0\n"
                       "    8                            arguments                   \"\"\n"));
}

TEST_F(KitLauncherPipe, TakesAWholePipeNameAndEndsWithTheGame) {
  KitProgram launcher(kLauncher, L"pipe " + (kPipes + name));
  ASSERT_TRUE(game.Accept(kPatienceMs));
  launcher.WaitForLine(R"(launcher: connected to \\.\pipe\)");
  game.Close();
  EXPECT_EQ(launcher.ExitCode(), 0U);
  EXPECT_THAT(launcher.Output(), EndsWith("launcher: the game has closed the pipe\n"));
}

TEST_F(KitLauncherPipe, FailsWhenTheGameEndsBeforeTheLastCommand) {
  KitProgram launcher(kLauncher, L"pipe " + name + L" --count 1");
  ASSERT_TRUE(game.Accept(kPatienceMs));
  game.Close();
  EXPECT_EQ(launcher.ExitCode(), 1U);
}

TEST_F(KitLauncherPipe, FailsWhenNoCommandComes) {
  KitProgram launcher(kLauncher, L"pipe " + name + L" --count 1 --timeout 1");
  ASSERT_TRUE(game.Accept(kPatienceMs));
  EXPECT_EQ(launcher.ExitCode(), 1U);
  EXPECT_THAT(launcher.Output(),
              EndsWith("demo_launcher: the game sent no further command in time\n"));
}

TEST_F(KitLauncherPipe, FailsAtBytesThatAreNoFrame) {
  KitProgram launcher(kLauncher, L"pipe " + name);
  ASSERT_TRUE(game.Accept(kPatienceMs));
  ASSERT_TRUE(game.Write("KD\x08\x01 and so on", kPatienceMs));
  EXPECT_EQ(launcher.ExitCode(), 1U);
  EXPECT_THAT(launcher.Output(), EndsWith("demo_launcher: a frame must begin with \"KE\"\n"));
}

TEST_F(KitLauncherPipe, FailsWhenThePipeEndsWithinAFrame) {
  KitProgram launcher(kLauncher, L"pipe " + name);
  ASSERT_TRUE(game.Accept(kPatienceMs));
  ASSERT_TRUE(game.Write(BytesOf("KE\x08\x00\x01X\x00"), kPatienceMs));
  game.Close();
  EXPECT_EQ(launcher.ExitCode(), 1U);
  EXPECT_THAT(launcher.Output(),
              EndsWith("launcher: the pipe ended within a frame, after 7 of its bytes\n"));
}

TEST(KitLauncher, FailsWithoutAPipe) {
  const std::wstring name = UniqueName(L"kit_launcher_test");
  KitProgram launcher(kLauncher, L"pipe " + name + L" --timeout 0");
  EXPECT_EQ(launcher.ExitCode(), 1U);
  EXPECT_THAT(launcher.Output(), StartsWith(R"(demo_launcher: cannot open \\.\pipe\kit_)"));
  EXPECT_THAT(launcher.Output(), EndsWith(" (error 2)\n"));
}

/// What the program prints for these answers; it has to end with `exitCode`.
std::string Query(const std::string& challengeResponse, const std::string& queryResponse,
                  DWORD exitCode) {
  const UdpPeer server;
  KitProgram launcher(kLauncher, L"query 127.0.0.1:" + std::to_wstring(server.Port()) +
                                     L" --game-id 0x1267 --timeout 60");
  if (queryResponse.empty()) {
    const auto request = server.Receive(kPatienceMs);
    if (request) server.SendTo(challengeResponse, request->sender);
  } else {
    Serve(server, challengeResponse, queryResponse);
  }
  EXPECT_EQ(launcher.ExitCode(), exitCode);
  return launcher.Output();
}

TEST(KitLauncherQuery, PrintsEachField) {
  // The example of the documents.
  const std::string response = BytesOf(
      "\x0A\x03\x02\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\x02\0\0\0\0\0\0\0\x07"
      "\0\x04\0\x01M\0\0\0\x3C\0\0\0\x64\x40\x05\0\0");
  EXPECT_EQ(Query("\x12\x34\x56\x78+", response, 0),
            "launcher: sends a challenge request of 15 bytes\n"
            "       FF FF FF FF 51 50 5F 00 00 00 00 00 00 12 67\n"
            "launcher: received a challenge response of 5 bytes\n"
            "    0  12 34 56 78               challenge id\n"
            "    4  2B                        ignored\n"
            "launcher: sends a query request of 19 bytes\n"
            "       FF FF FF FF 51 50 5F 00 00 00 00 00 00 12 67 12 34 56 78\n"
            "launcher: received a query response of 44 bytes\n"
            "    0  0A                        version                     10\n"
            "    1  03                        serverState                 3\n"
            "    2  02                        platform                    2\n"
            "    3  00 00 00 00 00 00 00 01   persistedIdPart1            1\n"
            "   11  00 00 00 00 00 00 00 02   persistedIdPart2            2\n"
            "   19  00 00 00 00 00 00 00 07   gameId                      7\n"
            "   27  00                        gameMode                    \"\"\n"
            "   28  04                        mapVariant                  4\n"
            "   29  00                        sectionLength               0\n"
            "   30  01 4D                     currentMap                  \"M\"\n"
            "   32  00 00 00 3C               roundTime                   60\n"
            "   36  00 00 00 64               defaultRoundTimeMultiplier  100\n"
            "   40  40                        maxPlayers                  64\n"
            "   41  05                        waitingPlayers              5\n"
            "   42  00                        teamCountByte               0\n"
            "   43  00                        team 0 playerCount          0\n"
            "status: SUCCESS\n");
}

struct OddResponse {
  std::string section;  // of version 3: from the mode's name to the section's end
  std::string note;
};

TEST(KitLauncherQuery, PointsOutWhatItsAuthorMayNotHaveMeant) {
  const std::string beginning = BytesOf("\x03\0\0\0\0\0\0\0\x01");
  for (const auto& [section, note] : std::initializer_list<OddResponse>{
           {BytesOf("\x08"
                    "Frontier\x01\x07\x01\0\x02\0\x03\x01M"),
            "sectionLength 7 is no multiple of an entry's 5 bytes: the rest is read as the start "
            "of currentMap"},
           {BytesOf("\x06"
                    "Breach\x01\x07\x01\x02\0\x05\0\x09\x01\x02\x01M"),
            "the section takes 8 bytes, whatever sectionLength says (7)"},
           {BytesOf("\x0A"
                    "ArmsLadder\x01\x02\x14\x01\0\0\0\0\0\0\0\x07\x05\x01M"),
            "the section takes 11 bytes, whatever sectionLength says (2)"},
           {BytesOf("\x05"
                    "B\x1B[2J\x01\x03\x01\x02\x03\x01M"),
            "the launcher does not know the mode \"B\\x1B[2J\": it skips the section"},
       }) {
    EXPECT_THAT(
        Query(BytesOf("\x12\x34\x56\x78"), beginning + section + BytesOf("\x20\x01\x80"), 0),
        EndsWith("\nnote: " + note + "\nstatus: SUCCESS\n"));
  }
  EXPECT_THAT(Query(BytesOf("\x12\x34\x56\x78"), SmallResponse() + "xy", 0),
              EndsWith("\nnote: 2 bytes after the last field are ignored\nstatus: SUCCESS\n"));
}

TEST(KitLauncherQuery, SaysWhatTheLauncherTellsItsHost) {
  const std::string challenge = BytesOf("\x12\x34\x56\x78");
  EXPECT_THAT(Query("abc", "", 1), EndsWith("\nnote: too short for a challenge id\n"
                                            "status: ERROR_MARSHALLING_EXCEPTION\n"));
  EXPECT_THAT(Query("", "", 1), EndsWith("\nnote: the answer is empty\n"
                                         "status: ERROR_RECVFROM_FAILED\n"));
  EXPECT_THAT(Query(challenge, "\x0B", 1),
              EndsWith("\nnote: the launcher knows the versions 3 to 10, and reads no further\n"
                       "status: ERROR_PROTOCOL_VERSION\n"));
  EXPECT_THAT(Query(challenge, SmallResponse().substr(0, 8), 1),
              EndsWith("\nnote: the response ends early: gameId at offset 1 takes 8 bytes, 7 are "
                       "left\nstatus: ERROR_MARSHALLING_EXCEPTION\n"));
  const UdpPeer silent;
  KitProgram launcher(kLauncher, L"query 127.0.0.1:" + std::to_wstring(silent.Port()));
  EXPECT_EQ(launcher.ExitCode(), 1U);
  EXPECT_THAT(launcher.Output(), EndsWith("\nnote: no answer in time\n"
                                          "status: ERROR_SELECT_FAILED_OR_TIMEDOUT\n"));
}

}  // namespace
}  // namespace test_support
