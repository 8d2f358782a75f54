// Stand-in for a game server that answers state queries over UDP.

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on

#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kit/console.h"
#include "kit/query_wire.h"

namespace {

constexpr char kHelp[] =
    R"(demo_server - stand-in for a game server

Listens for UDP datagrams on 127.0.0.1 and answers state queries: first a challenge,
then the query that repeats the challenge's id. Prints its port and every datagram.

  demo_server [options]

How it listens
  --port N               UDP port (default 0: a free one, printed at the start)
  --count N              ends after N answered queries (default: goes on)
  --wait SECONDS         ends when no datagram has come for so long (default: waits on)

What it tells
  --version N            version of the answer; launchers know 3 to 10 (default 10)
  --server-state N       3: a round is played and its times are told (default 3)
  --game-id N            id in the answer (default: the id that was asked for)
  --platform N           (default 1)
  --mode NAME            (default Frontier); names that have a section of their own
                         hold Frontier, Breach, KillRace, ArmsLadder, SeizeTheBanner
                         or VesselStrike
  --section HEX          bytes of the mode's section (default: a sample for the mode)
  --map NAME             (default Harbour)
  --teams N              number of teams, 0 to 128 (default 2)
  --players N            players in each team, 0 to 255 (default 3)
  --name TEXT            name of the first player (default Aldo)

How it misbehaves
  --challenge-length N   bytes of the challenge's answer, 1 to 64 (default 12; 4 and 12
                         are the usual forms, less than 4 is too short)
  --cut N                sends only the first N bytes of the answer
  --answer-file FILE     sends the bytes of FILE as the answer
  --silent-at STEP       "challenge" or "query": does not answer that datagram
  --help                 this text

Numbers may be written as 0x1F. Exit code: 0 ended as told, 1 failed, 2 wrong options.
)";

struct ServerSettings {
  std::uint16_t port = 0;
  std::uint64_t count = 0;     // 0: no limit
  DWORD waitMilliseconds = 0;  // 0: no limit
  std::size_t challengeLength = 12;
  kit::ServerReport serverReport;
  bool tellsAskedGameId = true;
  std::size_t cut = kit::kMaxFrame;
  kit::Bytes fixedAnswer;  // sent instead of `serverReport` when not empty
  bool silentAtChallenge = false;
  bool silentAtQuery = false;
};

std::string LastSocketError() { return kit::DescribeError(static_cast<DWORD>(WSAGetLastError())); }

std::vector<kit::Team> SampleTeams(std::size_t teamCount, std::size_t playerCount,
                                   const std::string& firstName) {
  constexpr std::array<const char*, 8> kNames{"Aldo", "Bryn", "Cass", "Dara",
                                              "Edda", "Finn", "Gwen", "Hale"};
  std::vector<kit::Team> teams(teamCount);
  std::size_t number = 0;
  for (std::size_t t = 0; t < teamCount; ++t) {
    teams[t].faction = static_cast<std::uint8_t>(t);
    for (std::size_t p = 0; p < playerCount; ++p, ++number) {
      kit::Player player;
      player.playerId = 1001 + number;
      player.name = kNames[number % kNames.size()];
      if (number == 0) player.name = firstName;
      if (number >= kNames.size()) player.name += std::to_string(number / kNames.size() + 1);
      player.tag = t % 2 == 0 ? "RED" : "BLU";
      player.rank = static_cast<std::uint16_t>(5 + 7 * (number % 18));
      player.score = static_cast<std::uint32_t>(4200 - 350 * (number % 12));
      player.kills = static_cast<std::uint16_t>(21 - 2 * (number % 10));
      player.deaths = static_cast<std::uint16_t>(4 + number % 9);
      player.squad = static_cast<std::uint8_t>(1 + p / 4 % 16);
      player.role = static_cast<std::uint8_t>(1 + number % 4);
      teams[t].players.push_back(player);
    }
  }
  return teams;
}

class Server {
 public:
  Server(ServerSettings serverSettings, kit::Report& textReport)
      : settings(std::move(serverSettings)), report(textReport) {}

  /// Returns when the settings say that it is over.
  void Serve() {
    Listen();
    std::uint64_t answered = 0;
    while (settings.count == 0 || answered < settings.count) {
      sockaddr_in peer{};
      kit::Bytes datagram;
      if (!Receive(datagram, peer)) {
        report.Line("server: no datagram came, ending");
        return;
      }
      if (Answer(datagram, peer)) ++answered;
    }
    report.Line("server: over after " + std::to_string(answered) + " queries");
  }

 private:
  void Listen() {
    WSADATA data;
    constexpr WORD kSocketsVersion = 0x0202;
    if (WSAStartup(kSocketsVersion, &data) != 0) {
      throw std::runtime_error("Windows Sockets cannot be started");
    }
    udpSocket = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(settings.port);
    if (bind(udpSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
      throw std::runtime_error("cannot listen on UDP port " + std::to_string(settings.port) + ": " +
                               LastSocketError());
    }
    int size = sizeof(address);
    getsockname(udpSocket, reinterpret_cast<sockaddr*>(&address), &size);
    setsockopt(udpSocket, SOL_SOCKET, SO_RCVTIMEO,
               reinterpret_cast<const char*>(&settings.waitMilliseconds),
               sizeof(settings.waitMilliseconds));
    report.Line("server: listening on 127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
  }

  /// False when no datagram came in time.
  bool Receive(kit::Bytes& datagram, sockaddr_in& peer) const {
    constexpr int kMaxDatagram = 65536;
    for (;;) {
      datagram.resize(kMaxDatagram);
      int peerSize = sizeof(peer);
      const int size = recvfrom(udpSocket, reinterpret_cast<char*>(datagram.data()), kMaxDatagram,
                                0, reinterpret_cast<sockaddr*>(&peer), &peerSize);
      if (size >= 0) {
        datagram.resize(static_cast<std::size_t>(size));
        return true;
      }
      if (WSAGetLastError() == WSAETIMEDOUT) return false;
      // An answer to a peer that had already closed its port comes back as this error.
      if (WSAGetLastError() != WSAECONNRESET) {
        throw std::runtime_error("receiving failed: " + LastSocketError());
      }
    }
  }

  /// True when the datagram was a query and has been answered (or kept silent about, as told).
  bool Answer(const kit::Bytes& datagram, const sockaddr_in& peer) {
    const std::uint16_t peerPort = ntohs(peer.sin_port);
    const std::string from = " from port " + std::to_string(peerPort);
    const auto query = kit::ParseQueryDatagram(datagram);
    if (!query) {
      report.Line("server: " + std::to_string(datagram.size()) + " bytes that are no query" + from);
      return false;
    }
    const std::string game = " for game " + std::to_string(query->gameId) + from;
    if (!query->challengeId) {
      report.Line("server: challenge request" + game);
      challengeIds[peerPort] = nextChallengeId;
      if (!settings.silentAtChallenge) {
        Send(kit::EncodeChallengeResponse(nextChallengeId, settings.challengeLength), peer);
      }
      ++nextChallengeId;
      return false;
    }
    const auto expected = challengeIds.find(peerPort);
    if (expected == challengeIds.end() || expected->second != *query->challengeId) {
      report.Line("server: query with a wrong challenge id" + game);
      return false;
    }
    challengeIds.erase(expected);
    report.Line("server: query" + game);
    if (!settings.silentAtQuery) Send(QueryAnswer(query->gameId), peer);
    return true;
  }

  kit::Bytes QueryAnswer(std::uint64_t askedGameId) const {
    kit::Bytes answer = settings.fixedAnswer;
    if (answer.empty()) {
      kit::ServerReport serverReport = settings.serverReport;
      if (settings.tellsAskedGameId) serverReport.gameId = askedGameId;
      answer = kit::EncodeQueryResponse(serverReport);
    }
    if (answer.size() > settings.cut) answer.resize(settings.cut);
    return answer;
  }

  void Send(const kit::Bytes& datagram, const sockaddr_in& peer) {
    const int size = static_cast<int>(datagram.size());
    const int sent = sendto(udpSocket, reinterpret_cast<const char*>(datagram.data()), size, 0,
                            reinterpret_cast<const sockaddr*>(&peer), sizeof(peer));
    if (sent != size) throw std::runtime_error("sending failed: " + LastSocketError());
    report.Line("server: answered with " + std::to_string(size) + " bytes");
  }

  const ServerSettings settings;
  kit::Report& report;
  SOCKET udpSocket = INVALID_SOCKET;
  std::uint32_t nextChallengeId = 0x12345678;
  std::map<std::uint16_t, std::uint32_t> challengeIds;  // by the peer's port
};

kit::Bytes ReadWholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  kit::Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file || bytes.empty()) throw kit::UsageError("cannot read bytes from " + path);
  return bytes;
}

ServerSettings ToSettings(const kit::Options& options) {
  constexpr std::uint64_t kMaxU8 = 0xFF;
  constexpr std::uint64_t kMaxU64 = ~std::uint64_t{0};
  constexpr std::uint64_t kMaxSeconds = 86400;
  constexpr std::uint64_t kMaxDatagram = 65507;
  ServerSettings settings;
  settings.port = static_cast<std::uint16_t>(options.Number("--port", 0, 0, 0xFFFF));
  settings.count = options.Number("--count", 0, 1, kMaxU64);
  if (options.Has("--wait")) {
    settings.waitMilliseconds =
        static_cast<DWORD>(1000 * options.Number("--wait", 0, 1, kMaxSeconds));
  }
  settings.challengeLength = options.Number("--challenge-length", 12, 1, 64);
  settings.cut = options.Number("--cut", kMaxDatagram, 0, kMaxDatagram);
  if (options.Has("--answer-file")) {
    settings.fixedAnswer = ReadWholeFile(options.Text("--answer-file", ""));
  }
  const std::string silentAt = options.Text("--silent-at", "");
  if (options.Has("--silent-at") && silentAt != "challenge" && silentAt != "query") {
    throw kit::UsageError("option --silent-at takes challenge or query, not '" + silentAt + "'");
  }
  settings.silentAtChallenge = silentAt == "challenge";
  settings.silentAtQuery = silentAt == "query";

  kit::ServerReport& told = settings.serverReport;
  told.version = static_cast<std::uint8_t>(options.Number("--version", 10, 0, kMaxU8));
  told.serverState = static_cast<std::uint8_t>(
      options.Number("--server-state", kit::kServerStateInRound, 0, kMaxU8));
  told.platform = static_cast<std::uint8_t>(options.Number("--platform", 1, 0, kMaxU8));
  told.persistedIdPart1 = 0x1122334455667788;
  told.persistedIdPart2 = 0x99AABBCCDDEEFF00;
  settings.tellsAskedGameId = !options.Has("--game-id");
  told.gameId = options.Number("--game-id", 0, 0, kMaxU64);
  told.gameMode = options.Text("--mode", "Frontier");
  told.mapVariant = 1;
  told.currentMap = options.Text("--map", "Harbour");
  told.roundTime = 754;
  told.defaultRoundTimeMultiplier = 100;
  told.maxPlayers = 64;
  told.waitingPlayers = 1;
  told.teams =
      SampleTeams(options.Number("--teams", 2, 0, kit::kMaxTeams),
                  options.Number("--players", 3, 0, kMaxU8), options.Text("--name", "Aldo"));
  told.modeSection = options.Has("--section") ? kit::ParseHex(options.Text("--section", ""))
                                              : kit::SampleModeSection(told.gameMode, told.teams);
  // Tells what does not fit into an answer now, not when the first query has come.
  if (kit::EncodeQueryResponse(told).size() > kMaxDatagram) {
    throw kit::UsageError("so many players do not fit into one datagram");
  }
  return settings;
}

int Run() {
  const kit::Options options(
      kit::SplitCommandLine(GetCommandLineW()),
      {"--port", "--count", "--wait", "--version", "--server-state", "--game-id", "--platform",
       "--mode", "--section", "--map", "--teams", "--players", "--name", "--challenge-length",
       "--cut", "--answer-file", "--silent-at"},
      {"--help"});
  if (options.Has("--help")) {
    std::fputs(kHelp, stdout);
    return kit::kSuccess;
  }
  kit::Report report;
  Server(ToSettings(options), report).Serve();
  return kit::kSuccess;
}

}  // namespace

int main() { return kit::RunProgram("demo_server", Run); }
