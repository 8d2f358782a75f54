// demo_server.exe of the kit.

#include <gtest/gtest.h>
#include <winsock2.h>

#include <string>

#include "tests/host/kit/kit_program.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kServer[] = L"demo_server.exe";

const Bytes kChallenge{0xFF, 0xFF, 0xFF, 0xFF, 'Q', 'P', '_', 0, 0, 0, 0, 0, 0, 0x12, 0x67};
const Bytes kFirstChallengeId{0x12, 0x34, 0x56, 0x78};

/// The query that follows `kChallenge`.
Bytes Query(const Bytes& challengeId) {
  Bytes query = kChallenge;
  query.insert(query.end(), challengeId.begin(), challengeId.end());
  return query;
}

/// A socket that asks one server.
class Client {
 public:
  explicit Client(KitProgram& server) {
    WSADATA data;
    WSAStartup(0x0202, &data);
    udpSocket = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(
        static_cast<u_short>(std::stoul(server.WaitForLine("server: listening on 127.0.0.1:"))));
    connect(udpSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const DWORD patience = kPatienceMs;
    setsockopt(udpSocket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience),
               sizeof(patience));
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() {
    closesocket(udpSocket);
    WSACleanup();
  }

  void Send(const Bytes& datagram) const {
    send(udpSocket, reinterpret_cast<const char*>(datagram.data()),
         static_cast<int>(datagram.size()), 0);
  }

  /// Empty when none came.
  Bytes Receive() const {
    Bytes datagram(65536);
    const int size = recv(udpSocket, reinterpret_cast<char*>(datagram.data()), 65536, 0);
    datagram.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return datagram;
  }

  Bytes Ask(const Bytes& datagram) const {
    Send(datagram);
    return Receive();
  }

 private:
  SOCKET udpSocket;
};

TEST(KitServer, ExplainsItself) {
  KitProgram server(kServer, L"--help");
  EXPECT_EQ(server.ExitCode(), 0U);
  EXPECT_TRUE(server.Output().starts_with("demo_server - stand-in for a game server\n"));
}

TEST(KitServer, NamesWrongOptions) {
  KitProgram teams(kServer, L"--teams 129");
  EXPECT_EQ(teams.ExitCode(), 2U);
  EXPECT_EQ(teams.Output(),
            "demo_server: --teams: Value 129 not in range 0 to 128\n"
            "Try: demo_server --help\n");
  KitProgram step(kServer, L"--silent-at never");
  EXPECT_EQ(step.ExitCode(), 2U);
  EXPECT_EQ(step.Output(),
            "demo_server: --silent-at: never not in {challenge,query}\n"
            "Try: demo_server --help\n");
  KitProgram section(kServer, L"--section 123");
  EXPECT_EQ(section.ExitCode(), 2U);
  EXPECT_EQ(section.Output(),
            "demo_server: '123' is not a list of hexadecimal bytes\nTry: demo_server --help\n");
  KitProgram players(kServer, L"--teams 128 --players 255");
  EXPECT_EQ(players.ExitCode(), 2U);
  EXPECT_EQ(players.Output(),
            "demo_server: too many players for one datagram\n"
            "Try: demo_server --help\n");
}

TEST(KitServer, AnswersChallengeAndQuery) {
  KitProgram server(kServer,
                    L"--count 1 --wait 60 --version 3 --mode Breach --map M --teams 1 --players 1 "
                    L"--name \"A b\"");
  const Client client(server);
  EXPECT_EQ(client.Ask(kChallenge),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(client.Ask(Query(kFirstChallengeId)),
            (Bytes{3,                                             // version
                   0,  0,   0,    0,    0,   0,   0x12, 0x67,     // the game id that was asked for
                   6,  'B', 'r',  'e',  'a', 'c', 'h',            // mode
                   1,                                             // map variant
                   8,  1,   2,    0,    75,  0,   100,  2,    4,  // section
                   1,  'M',                                       // map
                   64, 1,                                         // players: most, waiting
                   0,                                             // one team
                   1,                                             // of one player
                   0,  0,   0,    0,    0,   0,   0x03, 0xE9,     // player id
                   3,  'A', ' ',  'b',  3,   'R', 'E',  'D',      // name and tag
                   5,                                             // rank
                   0,  0,   0x10, 0x68,                           // score
                   0,  21,  0,    4,                              // kills and deaths
                   1}));                                          // squad
  EXPECT_EQ(server.ExitCode(), 0U);
  EXPECT_EQ(CountOf(server.Output(), "server: query for game 4711 from port "), 1U);
  EXPECT_EQ(CountOf(server.Output(), "server: ended; queries answered: 1\n"), 1U);
}

TEST(KitServer, TellsItsOwnGameIdAndSection) {
  KitProgram server(kServer,
                    L"--count 1 --wait 60 --version 3 --teams 0 --mode Q --map M --game-id 0x0A0B "
                    L"--section \"01 02\"");
  const Client client(server);
  client.Ask(kChallenge);
  EXPECT_EQ(client.Ask(Query(kFirstChallengeId)),
            (Bytes{3, 0, 0, 0, 0, 0, 0, 0x0A, 0x0B, 1, 'Q', 1, 2, 1, 2, 1, 'M', 64, 1, 0x80}));
}

TEST(KitServer, ShortensItsChallenge) {
  KitProgram server(kServer, L"--count 1 --wait 60 --challenge-length 4");
  EXPECT_EQ(Client(server).Ask(kChallenge), kFirstChallengeId);
}

TEST(KitServer, CutsItsAnswer) {
  KitProgram server(kServer, L"--count 1 --wait 60 --cut 3");
  const Client client(server);
  client.Ask(kChallenge);
  EXPECT_EQ(client.Ask(Query(kFirstChallengeId)), (Bytes{10, 3, 1}));
}

TEST(KitServer, AnswersFromAFile) {
  const TempDirectory directory;
  const std::wstring file = directory.WriteFile(L"answer.bin", std::string("\0\xFF\x1A\n", 4));
  KitProgram server(kServer, L"--count 1 --wait 60 --answer-file \"" + file + L"\"");
  const Client client(server);
  client.Ask(kChallenge);
  EXPECT_EQ(client.Ask(Query(kFirstChallengeId)), (Bytes{0x00, 0xFF, 0x1A, 0x0A}));
}

TEST(KitServer, IgnoresWrongChallengeIdsAndOtherDatagrams) {
  KitProgram server(kServer, L"--count 1 --wait 60 --cut 1");
  const Client client(server);
  client.Send({'h', 'e', 'l', 'l', 'o'});
  client.Ask(kChallenge);
  client.Send(Query({0x12, 0x34, 0x56, 0x79}));
  EXPECT_EQ(client.Ask(Query(kFirstChallengeId)), Bytes{10});
  EXPECT_EQ(server.ExitCode(), 0U);
  EXPECT_EQ(CountOf(server.Output(), "server: 5 bytes that are no query from port "), 1U);
  EXPECT_EQ(CountOf(server.Output(), "server: query with a wrong challenge id for game 4711"), 1U);
  EXPECT_EQ(CountOf(server.Output(), "server: answered with "), 2U);
}

TEST(KitServer, StaysSilentAtTheChallenge) {
  KitProgram server(kServer, L"--wait 60 --silent-at challenge");
  const Client client(server);
  client.Send(kChallenge);
  client.Send({'h', 'e', 'l', 'l', 'o'});
  server.WaitForLine("server: challenge request for game 4711 from port ");
  server.WaitForLine("server: 5 bytes that are no query from port ");
  EXPECT_EQ(CountOf(server.Output(), "server: answered"), 0U);
}

TEST(KitServer, StaysSilentAtTheQuery) {
  KitProgram server(kServer, L"--count 1 --wait 60 --silent-at query");
  const Client client(server);
  client.Ask(kChallenge);
  client.Send(Query(kFirstChallengeId));
  EXPECT_EQ(server.ExitCode(), 0U);
  EXPECT_EQ(CountOf(server.Output(), "server: answered"), 1U);
}

TEST(KitServer, EndsWhenNobodyAsks) {
  KitProgram server(kServer, L"--wait 1");
  EXPECT_EQ(server.ExitCode(), 0U);
  EXPECT_EQ(CountOf(server.Output(), "server: no datagram received, ending\n"), 1U);
}

}  // namespace
}  // namespace test_support
