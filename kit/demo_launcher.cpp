// Stand-in for the launcher, without its DLL: speaks with a game over its pipe, asks a game server, and
// shows what comes back byte by byte.

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <ws2tcpip.h>
// clang-format on

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "kit/console.h"
#include "kit/query_fields.h"
#include "kit/query_wire.h"
#include "kit/wire.h"

namespace {

constexpr char kDescription[] =
    R"(demo_launcher - stand-in for the launcher

Shows the authors of games and game servers what the launcher sends to their programs,
and what it makes of the answers. It needs no launcher.dll.)";

constexpr char kFooter[] =
    R"(demo_launcher COMMAND --help explains a command.

Exit code: 0 success, 1 no game or server, or one that the launcher would not accept,
2 wrong options.
)";

constexpr char kPipeFooter[] = R"(
Each line of standard input is sent, too. Runs until the game closes the pipe.

Examples:
  demo_launcher pipe brenna_pellmar
  demo_launcher pipe demo --send "echo Hello you" --count 1
)";

constexpr char kQueryFooter[] = R"(
Example:
  demo_launcher query 127.0.0.1:25200 --game-id 7
)";

void PrintFields(const std::vector<kit::Field>& fields, kit::Report& report) {
  for (const kit::Field& field : fields) report.Line(kit::Describe(field));
}

// ---------------------------------------------------------------------------------------------
// A game's pipe

struct PipeOptions {
  std::string name;
  std::vector<std::string> commands;
  std::uint64_t count = 0;  // 0: no limit
  unsigned int timeoutSeconds = 10;
};

/// The launcher's end of a game's pipe, opened as the launcher opens it. Any thread may send while one
/// other reads.
class GamePipe {
 public:
  /// Tries again and again, as the launcher does on each poll. Throws when there is no pipe in time.
  GamePipe(const std::wstring& name, DWORD timeoutMilliseconds) {
    constexpr DWORD kPollMilliseconds = 100;
    for (DWORD waited = 0;; waited += kPollMilliseconds) {
      pipe = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                         FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING,
                         nullptr);
      if (pipe != INVALID_HANDLE_VALUE) break;
      const DWORD error = GetLastError();
      if (waited >= timeoutMilliseconds) {
        throw std::runtime_error("cannot open " + kit::ToUtf8(name) + ": " +
                                 kit::DescribeError(error));
      }
      Sleep(kPollMilliseconds);
    }
    readEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    writeEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (readEvent == nullptr || writeEvent == nullptr)
      throw std::runtime_error("out of event objects");
  }
  GamePipe(const GamePipe&) = delete;
  GamePipe& operator=(const GamePipe&) = delete;

  void Send(const kit::Command& command) {
    const kit::Bytes frame = kit::EncodeFrame(command);
    OVERLAPPED overlapped{};
    overlapped.hEvent = writeEvent;
    DWORD written = 0;
    if ((!WriteFile(pipe, frame.data(), static_cast<DWORD>(frame.size()), nullptr, &overlapped) &&
         GetLastError() != ERROR_IO_PENDING) ||
        !GetOverlappedResult(pipe, &overlapped, &written, TRUE)) {
      throw std::runtime_error("sending failed: " + kit::DescribeError(GetLastError()));
    }
  }

  /// Reads as much as the launcher does in one read. Nothing when the game has closed the pipe.
  /// Throws on a timeout.
  std::optional<kit::Bytes> Read(DWORD timeoutMilliseconds) {
    constexpr std::size_t kReadSize = 4096;
    kit::Bytes bytes(kReadSize);
    OVERLAPPED overlapped{};
    overlapped.hEvent = readEvent;
    DWORD size = 0;
    if (!ReadFile(pipe, bytes.data(), kReadSize, nullptr, &overlapped) &&
        GetLastError() != ERROR_IO_PENDING) {
      return std::nullopt;
    }
    if (WaitForSingleObject(readEvent, timeoutMilliseconds) != WAIT_OBJECT_0) {
      // The read uses the buffer until it is complete.
      CancelIo(pipe);
      GetOverlappedResult(pipe, &overlapped, &size, TRUE);
      throw std::runtime_error("the game sent no further command in time");
    }
    if (!GetOverlappedResult(pipe, &overlapped, &size, FALSE)) return std::nullopt;
    bytes.resize(size);
    return bytes;
  }

 private:
  // Left to the end of the process: another thread may still send.
  HANDLE pipe = INVALID_HANDLE_VALUE;
  HANDLE readEvent = nullptr;
  HANDLE writeEvent = nullptr;
};

/// "NAME WORDS"
kit::Command ToCommand(const std::string& text) {
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return {text, ""};
  return {text.substr(0, blank), text.substr(blank + 1)};
}

void Send(GamePipe& pipe, const std::string& text, kit::Report& report) {
  const kit::Command command = ToCommand(text);
  report.Line("launcher: sends " + command.name + " [" + command.arguments + "]");
  pipe.Send(command);
}

void SendStandardInput(const std::shared_ptr<GamePipe>& pipe,
                       const std::shared_ptr<kit::Report>& report) {
  try {
    for (std::string line; std::getline(std::cin, line);) {
      if (line.ends_with('\r')) line.pop_back();
      if (!line.empty()) Send(*pipe, line, *report);
    }
  } catch (const std::exception& error) {
    report->Line("launcher: " + std::string(error.what()));
  }
}

int FollowGame(const PipeOptions& options) {
  constexpr std::string_view kPrefix = R"(\\.\pipe\)";
  constexpr DWORD kMillisecondsPerSecond = 1000;
  const std::string path =
      options.name.starts_with(kPrefix) ? options.name : std::string(kPrefix) + options.name;
  const DWORD timeout = options.timeoutSeconds * kMillisecondsPerSecond;
  const auto report = std::make_shared<kit::Report>();
  const auto pipe = std::make_shared<GamePipe>(kit::ToWide(path), timeout);
  report->Line("launcher: connected to " + path);
  for (const std::string& command : options.commands) Send(*pipe, command, *report);
  std::thread(SendStandardInput, pipe, report).detach();

  kit::FrameReader frames;
  std::uint64_t received = 0;
  while (const auto bytes = pipe->Read(options.count > 0 ? timeout : INFINITE)) {
    frames.Append(bytes->data(), bytes->size());
    while (const auto command = frames.Next()) {
      report->Line("launcher: received " + command->name + " [" + command->arguments + "]");
      PrintFields(kit::FrameFields(*command), *report);
      if (++received == options.count) return kit::kSuccess;
    }
  }
  if (frames.Pending() > 0) {
    report->Line("launcher: the pipe ended within a frame, after " +
                 std::to_string(frames.Pending()) + " of its bytes");
    return kit::kFailure;
  }
  report->Line("launcher: the game has closed the pipe");
  return received < options.count ? kit::kFailure : kit::kSuccess;
}

// ---------------------------------------------------------------------------------------------
// A game server

struct QueryOptions {
  std::string server;
  std::uint64_t gameId = 1;
  unsigned int timeoutSeconds = 1;
};

sockaddr_in ToAddress(const std::string& server) {
  const std::size_t colon = server.find(':');
  const std::string port = colon == std::string::npos ? "" : server.substr(colon + 1);
  constexpr std::size_t kMaxPortDigits = 5;
  constexpr unsigned long kMaxPort = 0xFFFF;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (port.empty() || port.size() > kMaxPortDigits ||
      port.find_first_not_of("0123456789") != std::string::npos || std::stoul(port) > kMaxPort ||
      inet_pton(AF_INET, server.substr(0, colon).c_str(), &address.sin_addr) != 1) {
    throw kit::UsageError("'" + server + "' is not of the form 192.0.2.1:25200");
  }
  address.sin_port = htons(static_cast<u_short>(std::stoul(port)));
  return address;
}

/// With the status that a host would get.
class QueryFailure : public std::runtime_error {
 public:
  QueryFailure(std::string launcherStatus, const std::string& why)
      : std::runtime_error(why), status(std::move(launcherStatus)) {}
  const std::string status;
};

class QueryClient {
 public:
  QueryClient(const QueryOptions& options, kit::Report& clientReport) : report(clientReport) {
    constexpr DWORD kMillisecondsPerSecond = 1000;
    WSADATA data;
    constexpr WORD kSocketsVersion = 0x0202;
    if (WSAStartup(kSocketsVersion, &data) != 0) {
      throw std::runtime_error("Windows Sockets cannot be started");
    }
    const sockaddr_in address = ToAddress(options.server);
    udpSocket = socket(AF_INET, SOCK_DGRAM, 0);
    if (connect(udpSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
      throw QueryFailure("ERROR_CONNECT_FAILED", LastSocketError());
    }
    const DWORD timeout = options.timeoutSeconds * kMillisecondsPerSecond;
    setsockopt(udpSocket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout),
               sizeof(timeout));
  }
  QueryClient(const QueryClient&) = delete;
  QueryClient& operator=(const QueryClient&) = delete;
  ~QueryClient() { closesocket(udpSocket); }

  kit::Bytes Ask(const std::string& what, const kit::Bytes& datagram) {
    report.Line("launcher: sends a " + what + " request of " + std::to_string(datagram.size()) +
                " bytes");
    report.Line("       " + kit::Hex(datagram, datagram.size()));
    const int size = static_cast<int>(datagram.size());
    if (send(udpSocket, reinterpret_cast<const char*>(datagram.data()), size, 0) != size) {
      throw QueryFailure("ERROR_SENDTO_FAILED", LastSocketError());
    }
    constexpr int kMaxDatagram = 65536;
    kit::Bytes answer(kMaxDatagram);
    const int received = recv(udpSocket, reinterpret_cast<char*>(answer.data()), kMaxDatagram, 0);
    if (received < 0 && WSAGetLastError() == WSAETIMEDOUT) {
      throw QueryFailure("ERROR_SELECT_FAILED_OR_TIMEDOUT", "no answer in time");
    }
    if (received < 0) throw QueryFailure("ERROR_RECVFROM_FAILED", LastSocketError());
    if (received == 0) throw QueryFailure("ERROR_RECVFROM_FAILED", "the answer is empty");
    answer.resize(static_cast<std::size_t>(received));
    report.Line("launcher: received a " + what + " response of " + std::to_string(answer.size()) +
                " bytes");
    return answer;
  }

 private:
  static std::string LastSocketError() {
    return kit::DescribeError(static_cast<DWORD>(WSAGetLastError()));
  }

  kit::Report& report;
  SOCKET udpSocket = INVALID_SOCKET;
};

std::string Query(const QueryOptions& options, kit::Report& report) {
  QueryClient client(options, report);
  const kit::QueryDatagram challenge{options.gameId, std::nullopt};
  const kit::Bytes answer = client.Ask("challenge", kit::EncodeQueryDatagram(challenge));
  const auto challengeId = kit::ReadChallengeId(answer);
  if (!challengeId) {
    throw QueryFailure("ERROR_MARSHALLING_EXCEPTION", "too short for a challenge id");
  }
  PrintFields(kit::ChallengeFields(answer), report);

  const kit::QueryDatagram query{options.gameId, challengeId};
  const kit::Bytes response = client.Ask("query", kit::EncodeQueryDatagram(query));
  const kit::ResponseDescription description = kit::ResponseReader(response).Read();
  PrintFields(description.fields, report);
  for (const std::string& note : description.notes) report.Line("note: " + note);
  return description.status;
}

int AskServer(const QueryOptions& options) {
  kit::Report report;
  std::string status;
  try {
    status = Query(options, report);
  } catch (const QueryFailure& failure) {
    report.Line("note: " + std::string(failure.what()));
    status = failure.status;
  }
  report.Line("status: " + status);
  return status == "SUCCESS" ? kit::kSuccess : kit::kFailure;
}

// ---------------------------------------------------------------------------------------------

int Run() {
  PipeOptions pipeOptions;
  QueryOptions queryOptions;
  CLI::App app(kDescription, "demo_launcher");
  app.allow_windows_style_options(false);
  app.footer(kFooter);
  app.require_subcommand(1);
  app.get_formatter()->label("TEXT", "");
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Subcommands", "Commands");

  CLI::App* const pipe = app.add_subcommand("pipe", "Connect to a game's pipe and follow it");
  pipe->footer(kPipeFooter);
  pipe->add_option("NAME", pipeOptions.name, R"(The pipe, with or without \\.\pipe\)")->required();
  pipe->add_option("--send", pipeOptions.commands,
                   "\"NAME WORDS\": a command to send after connecting; may be repeated")
      ->type_name("COMMAND")
      ->allow_extra_args(false);
  pipe->add_option("--count", pipeOptions.count, "Exit after N commands")
      ->type_name("N")
      ->check(CLI::PositiveNumber.description(""));
  constexpr unsigned int kMaxSeconds = 86400;
  pipe->add_option("--timeout", pipeOptions.timeoutSeconds,
                   "How long to wait for the pipe and, with --count, for each command (default "
                   "10)")
      ->type_name("SECONDS")
      ->check(CLI::Range(0U, kMaxSeconds).description(""));

  CLI::App* const query =
      app.add_subcommand("query", "Ask a game server and print each field with its offset");
  query->footer(kQueryFooter);
  query->add_option("ADDRESS:PORT", queryOptions.server, "The server, as 192.0.2.1:25200")
      ->required();
  query->add_option("--game-id", queryOptions.gameId, "The game to ask for (default 1)")
      ->type_name("N");
  query
      ->add_option("--timeout", queryOptions.timeoutSeconds,
                   "How long to wait for each answer (default 1, as the launcher)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1U, kMaxSeconds).description(""));

  std::vector<std::string> arguments = kit::SplitCommandLine(GetCommandLineW());
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::Success& success) {
    return app.exit(success);  // --help
  } catch (const CLI::ParseError& error) {
    throw kit::UsageError(error.what());
  }
  return pipe->parsed() ? FollowGame(pipeOptions) : AskServer(queryOptions);
}

}  // namespace

int main() {
  const int exitCode = kit::RunProgram("demo_launcher", Run);
  // A thread may still wait for standard input: end the process without running destructors.
  static_cast<void>(std::fflush(stdout));
  ExitProcess(static_cast<UINT>(exitCode));
}
