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
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kit/console.h"
#include "kit/query_wire.h"

namespace {

constexpr char kDescription[] =
    R"(demo_server - stand-in for a game server

Listens for UDP datagrams on 127.0.0.1 and answers state queries: first a challenge,
then the query that repeats the challenge's id. Prints its port and every datagram.
)";

constexpr char kFooter[] =
    R"(
Numbers may be written as 0x1F. Exit code: 0 success, 1 failure, 2 wrong options.
)";

constexpr std::size_t kMaxDatagram = 65507;

struct ServerSettings {
  std::uint16_t port = 0;
  std::uint64_t count = 0;     // 0: no limit
  DWORD waitMilliseconds = 0;  // 0: no limit
  std::size_t challengeLength = 12;
  kit::ServerReport serverReport;
  bool echoesGameId = true;  // that of the request
  std::size_t cut = kMaxDatagram;
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

  /// Returns after the number of queries, or the time, in the settings.
  void Serve() {
    Listen();
    std::uint64_t answered = 0;
    while (settings.count == 0 || answered < settings.count) {
      sockaddr_in peer{};
      kit::Bytes datagram;
      if (!Receive(datagram, peer)) {
        report.Line("server: no datagram received, ending");
        return;
      }
      if (Answer(datagram, peer)) ++answered;
    }
    report.Line("server: ended; queries answered: " + std::to_string(answered));
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

  /// False when none arrived in time.
  bool Receive(kit::Bytes& datagram, sockaddr_in& peer) const {
    constexpr int kBufferSize = 65536;
    for (;;) {
      datagram.resize(kBufferSize);
      int peerSize = sizeof(peer);
      const int size = recvfrom(udpSocket, reinterpret_cast<char*>(datagram.data()), kBufferSize, 0,
                                reinterpret_cast<sockaddr*>(&peer), &peerSize);
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

  /// True when the datagram was a query, answered or left without an answer on request.
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
      if (settings.echoesGameId) serverReport.gameId = askedGameId;
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

/// Options from which `Apply` makes settings.
struct Choices {
  DWORD waitSeconds = 0;
  std::string answerFile;
  std::string silentAt;
  std::size_t teams = 2;
  std::size_t players = 3;
  std::string firstName = "Aldo";
  std::optional<std::string> section;
};

// The largest values of the answer's fields.
constexpr unsigned int kMaxU8 = 0xFF;
constexpr unsigned int kMaxU16 = 0xFFFF;

void AddListeningOptions(CLI::App& app, ServerSettings& settings, Choices& choices) {
  constexpr const char* kGroup = "Listening";
  app.add_option("--port", settings.port, "UDP port (default 0: a free one, printed at the start)")
      ->type_name("N")
      ->check(CLI::Range(0U, kMaxU16))
      ->group(kGroup);
  app.add_option("--count", settings.count, "Exit after N answered queries (default: no limit)")
      ->type_name("N")
      ->check(CLI::PositiveNumber)
      ->group(kGroup);
  constexpr DWORD kMaxSeconds = 86400;
  app.add_option("--wait", choices.waitSeconds,
                 "Exit when no datagram has arrived for this long\n(default: no limit)")
      ->type_name("SECONDS")
      ->check(CLI::Range(DWORD{1}, kMaxSeconds))
      ->group(kGroup);
}

void AddAnswerOptions(CLI::App& app, ServerSettings& settings, Choices& choices) {
  constexpr const char* kGroup = "Answer";
  kit::ServerReport& answer = settings.serverReport;
  const auto addByte = [&](const char* name, std::uint8_t& value, const char* description) {
    app.add_option_function<unsigned int>(
           name, [&value](unsigned int number) { value = static_cast<std::uint8_t>(number); },
           description)
        ->type_name("N")
        ->check(CLI::Range(0U, kMaxU8))
        ->group(kGroup);
  };
  addByte("--version", answer.version, "Version; launchers know 3 to 10 (default 10)");
  addByte("--server-state", answer.serverState,
          "3: in a round; only then are its times sent\n(default 3)");
  app.add_option_function<std::uint64_t>(
         "--game-id",
         [&settings](std::uint64_t id) {
           settings.serverReport.gameId = id;
           settings.echoesGameId = false;
         },
         "Id in the answer (default: that of the request)")
      ->type_name("N")
      ->group(kGroup);
  addByte("--platform", answer.platform, "(default 1)");
  app.add_option("--mode", answer.gameMode,
                 "(default Frontier); a name that contains Frontier,\nBreach, "
                 "KillRace, ArmsLadder, SeizeTheBanner or\nVesselStrike adds that section")
      ->type_name("NAME")
      ->group(kGroup);
  app.add_option("--section", choices.section, "Bytes of the mode's section (default: a sample)")
      ->type_name("HEX")
      ->group(kGroup);
  app.add_option("--map", answer.currentMap, "(default Harbour)")->type_name("NAME")->group(kGroup);
  app.add_option("--teams", choices.teams, "Number of teams, 0 to 128 (default 2)")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{0}, kit::kMaxTeams))
      ->group(kGroup);
  app.add_option("--players", choices.players, "Players in each team, 0 to 255 (default 3)")
      ->type_name("N")
      ->check(CLI::Range(0U, kMaxU8))
      ->group(kGroup);
  app.add_option("--name", choices.firstName, "Name of the first player (default Aldo)")
      ->type_name("TEXT")
      ->group(kGroup);
}

void AddFaultOptions(CLI::App& app, ServerSettings& settings, Choices& choices) {
  constexpr const char* kGroup = "Faults";
  app.add_option("--challenge-length", settings.challengeLength,
                 "Bytes of the challenge's answer, 1 to 64\n(default 12; 4 and 12 are the usual "
                 "forms, less\nthan 4 is too short)")
      ->type_name("N")
      ->check(CLI::Range(1, 64))
      ->group(kGroup);
  app.add_option("--cut", settings.cut, "Send only the first N bytes of the answer")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{0}, kMaxDatagram))
      ->group(kGroup);
  app.add_option("--answer-file", choices.answerFile, "Send the bytes of FILE as the answer")
      ->type_name("FILE")
      ->group(kGroup);
  app.add_option("--silent-at", choices.silentAt, "Do not answer that datagram")
      ->type_name("challenge|query")
      ->check(CLI::IsMember({"challenge", "query"}))
      ->group(kGroup);
}

void Apply(const Choices& choices, ServerSettings& settings) {
  constexpr DWORD kMillisecondsPerSecond = 1000;
  settings.waitMilliseconds = choices.waitSeconds * kMillisecondsPerSecond;
  if (!choices.answerFile.empty()) settings.fixedAnswer = ReadWholeFile(choices.answerFile);
  settings.silentAtChallenge = choices.silentAt == "challenge";
  settings.silentAtQuery = choices.silentAt == "query";
  kit::ServerReport& answer = settings.serverReport;
  answer.teams = SampleTeams(choices.teams, choices.players, choices.firstName);
  answer.modeSection = choices.section ? kit::ParseHex(*choices.section)
                                       : kit::SampleModeSection(answer.gameMode, answer.teams);
  // Fail now and not at the first query.
  if (kit::EncodeQueryResponse(answer).size() > kMaxDatagram) {
    throw kit::UsageError("too many players for one datagram");
  }
}

int Run() {
  ServerSettings settings;
  kit::ServerReport& answer = settings.serverReport;
  answer.version = 10;
  answer.serverState = kit::kServerStateInRound;
  answer.platform = 1;
  answer.persistedIdPart1 = 0x1122334455667788;
  answer.persistedIdPart2 = 0x99AABBCCDDEEFF00;
  answer.gameMode = "Frontier";
  answer.mapVariant = 1;
  answer.currentMap = "Harbour";
  answer.roundTime = 754;
  answer.defaultRoundTimeMultiplier = 100;
  answer.maxPlayers = 64;
  answer.waitingPlayers = 1;
  Choices choices;
  CLI::App app(kDescription, "demo_server");
  app.footer(kFooter);
  AddListeningOptions(app, settings, choices);
  AddAnswerOptions(app, settings, choices);
  AddFaultOptions(app, settings, choices);
  if (!kit::ReadOptions(app, kit::SplitCommandLine(GetCommandLineW()))) return kit::kSuccess;
  Apply(choices, settings);
  kit::Report report;
  Server(std::move(settings), report).Serve();
  return kit::kSuccess;
}

}  // namespace

int main() { return kit::RunProgram("demo_server", Run); }
