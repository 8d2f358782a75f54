// Stand-in for a game that the launcher can start: offers the game's command pipe, prints the
// commands that come in and sends commands of its own.

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "kit/console.h"
#include "kit/wire.h"

namespace {

constexpr char kDescription[] =
    R"(demo_game - stand-in for a game

Offers the named pipe over which a launcher and a running game exchange commands (a
name and words), prints every command that arrives and answers some:

  echo WORDS        sends the command "echo WORDS" back
  send NAME WORDS   sends the command "NAME WORDS"
  quit              ends the game

Copied under the file name of a real game (ag4.exe, agx.exe, TAVR.exe, ag3.exe, ...)
it offers the pipe of that game, so that a launcher finds it without further options.
)";

constexpr char kFooter[] =
    R"(
The environment variable KIT_GAME_OPTIONS, when not empty, replaces the options; the
command line is then only printed. That is for hosts whose command line belongs to a
real game.

Exit code: 0 success, 1 failure, 2 wrong options.
)";

struct KnownGame {
  std::string_view fileName;
  const char* pipeName;
};

constexpr std::array<KnownGame, 10> kKnownGames{{
    {"tavr.exe", R"(\\.\pipe\tavr_pellmar)"},
    {"launcher.exe", R"(\\.\pipe\tavr_pellmar)"},  // the program that starts tavr.exe
    {"agx.exe", R"(\\.\pipe\tamsin_pellmar)"},
    {"agx_x86.exe", R"(\\.\pipe\tamsin_pellmar)"},
    {"agxcte.exe", R"(\\.\pipe\tamsin_pellmar)"},
    {"ag4.exe", R"(\\.\pipe\brenna_pellmar)"},
    {"ag4_x86.exe", R"(\\.\pipe\brenna_pellmar)"},
    {"ag4cte.exe", R"(\\.\pipe\brenna_pellmar)"},
    {"ag4cte_x86.exe", R"(\\.\pipe\brenna_pellmar)"},
    {"ag3.exe", R"(\\.\pipe\solano_pellmar)"},
}};

/// The pipe of the game whose file name this program has; empty for any other name.
std::string PipeOfOwnFileName() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  std::string name = kit::ToUtf8(path.substr(path.find_last_of(L'\\') + 1));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const KnownGame& game : kKnownGames) {
    if (game.fileName == name) return game.pipeName;
  }
  return "";
}

/// "NAME WORDS" as a command.
kit::Command ToCommand(const std::string& text) {
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return {text, ""};
  return {text.substr(0, blank), text.substr(blank + 1)};
}

std::string Describe(const kit::Command& command) {
  return command.name + " [" + command.arguments + "]";
}

struct GameSettings {
  std::wstring pipeName;
  DWORD instances = 4;
  std::vector<kit::Command> greeting;
  kit::Bytes rawGreeting;
  std::uint64_t quitAfter = 0;  // 0: never
  bool stay = false;
  DWORD waitMilliseconds = INFINITE;
};

/// The game: one thread for each pipe instance, which serves one launcher after the other.
class Game {
 public:
  Game(GameSettings gameSettings, kit::Report& gameReport)
      : settings(std::move(gameSettings)), report(gameReport) {
    ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    connected = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (ended == nullptr || connected == nullptr) throw std::runtime_error("no event to wait for");
  }
  Game(const Game&) = delete;
  Game& operator=(const Game&) = delete;

  /// Returns when the game is over; the threads are left to the end of the process.
  void Play() {
    std::vector<HANDLE> pipes;
    for (DWORD i = 0; i < settings.instances; ++i) pipes.push_back(MakePipe());
    report.Line("game: process " + std::to_string(GetCurrentProcessId()) + " offers " +
                kit::ToUtf8(settings.pipeName));
    for (const HANDLE pipe : pipes) std::thread(&Game::ServePipe, this, pipe).detach();

    const std::array<HANDLE, 2> events{ended, connected};
    const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(),
                                                FALSE, settings.waitMilliseconds);
    if (result == WAIT_TIMEOUT) {
      report.Line("game: no launcher has connected, ending");
      return;
    }
    WaitForSingleObject(ended, INFINITE);
  }

 private:
  HANDLE MakePipe() const {
    constexpr DWORD kBuffer = 65536;
    const HANDLE pipe = CreateNamedPipeW(settings.pipeName.c_str(), PIPE_ACCESS_DUPLEX,
                                         PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT,
                                         settings.instances, kBuffer, kBuffer, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) {
      throw std::runtime_error("cannot offer the pipe " + kit::ToUtf8(settings.pipeName) + ": " +
                               kit::DescribeError(GetLastError()));
    }
    return pipe;
  }

  void ServePipe(HANDLE pipe) {
    for (;;) {
      // A launcher may have connected, and even left, before the call; reading shows which.
      const DWORD failure = ConnectNamedPipe(pipe, nullptr) ? ERROR_SUCCESS : GetLastError();
      if (failure != ERROR_SUCCESS && failure != ERROR_PIPE_CONNECTED && failure != ERROR_NO_DATA) {
        report.Line("game: waiting for a launcher failed, " + kit::DescribeError(failure));
        SetEvent(ended);
        return;
      }
      InterlockedIncrement(&launchers);
      SetEvent(connected);
      report.Line("game: a launcher has connected");
      try {
        Greet(pipe);
        ReadCommands(pipe);
      } catch (const std::exception& error) {
        report.Line("game: " + std::string(error.what()));
      }
      DisconnectNamedPipe(pipe);
      report.Line("game: a launcher has left");
      if (InterlockedDecrement(&launchers) == 0 && !settings.stay) SetEvent(ended);
    }
  }

  void Greet(HANDLE pipe) {
    for (const kit::Command& command : settings.greeting) Send(pipe, command);
    if (!settings.rawGreeting.empty()) {
      WriteBytes(pipe, settings.rawGreeting);
      report.Line("game: sent " + std::to_string(settings.rawGreeting.size()) + " raw bytes");
    }
  }

  /// Returns when the launcher has closed its end.
  void ReadCommands(HANDLE pipe) {
    kit::FrameReader frames;
    std::array<std::uint8_t, 4096> buffer;
    DWORD size = 0;
    while (ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &size, nullptr)) {
      frames.Append(buffer.data(), size);
      while (const auto command = frames.Next()) Execute(pipe, *command);
    }
  }

  void Execute(HANDLE pipe, const kit::Command& command) {
    report.Line("game: received " + Describe(command));
    if (command.name == "echo") Send(pipe, command);
    if (command.name == "send") Send(pipe, ToCommand(command.arguments));
    const auto received = static_cast<std::uint64_t>(InterlockedIncrement64(&commands));
    if (command.name == "quit" || received == settings.quitAfter) SetEvent(ended);
  }

  void Send(HANDLE pipe, const kit::Command& command) {
    WriteBytes(pipe, kit::EncodeFrame(command));
    report.Line("game: sent " + Describe(command));
  }

  static void WriteBytes(HANDLE pipe, const kit::Bytes& bytes) {
    DWORD written = 0;
    if (!WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
      throw std::runtime_error("sending failed, " + kit::DescribeError(GetLastError()));
    }
  }

  const GameSettings settings;
  kit::Report& report;
  HANDLE ended = nullptr;
  HANDLE connected = nullptr;
  LONG launchers = 0;
  LONG64 commands = 0;
};

int Run() {
  std::vector<std::string> arguments = kit::SplitCommandLine(GetCommandLineW());
  const std::wstring replacement = kit::EnvironmentText(L"KIT_GAME_OPTIONS");
  if (!replacement.empty()) {
    arguments = kit::SplitCommandLine((L"demo_game " + replacement).c_str());
  }

  GameSettings settings;
  std::string pipeName = PipeOfOwnFileName();
  std::vector<std::string> greeting;
  std::string rawGreeting;
  DWORD waitSeconds = 0;
  std::string log;
  CLI::App app(kDescription, "demo_game");
  app.footer(kFooter);
  app.add_option("--pipe", pipeName,
                 "Name of the pipe, as \\\\.\\pipe\\demo; needed unless\nthe file name is that of "
                 "a known game")
      ->type_name("NAME")
      ->required(pipeName.empty());
  constexpr DWORD kMaxInstances = 254;  // 255 means "no limit" to Windows
  app.add_option(
         "--instances", settings.instances,
         "How many launchers may be connected at once\n(default 4). Two entries of the launcher "
         "may share\none pipe name: with one instance only the first of\nthem gets it")
      ->type_name("N")
      ->check(CLI::Range(DWORD{1}, kMaxInstances));
  app.add_option("--send", greeting, "Command for every launcher that connects;\nmay be repeated")
      ->type_name("\"NAME WORDS\"")
      ->allow_extra_args(false);
  app.add_option("--send-raw", rawGreeting, "Raw bytes to send after that, such as \"4b 45 00\"")
      ->type_name("HEX");
  app.add_option("--quit-after", settings.quitAfter, "Exit after N commands")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000));
  app.add_flag("--stay", settings.stay,
               "Keep running when the last launcher has left\n(default: exit)");
  constexpr DWORD kMaxSeconds = 86400;
  app.add_option("--wait", waitSeconds,
                 "Exit when no launcher has connected by then\n(default: no limit)")
      ->type_name("SECONDS")
      ->check(CLI::Range(DWORD{1}, kMaxSeconds));
  app.add_option("--log", log, "Append the output to a file, too")->type_name("FILE");
  if (!kit::ReadOptions(app, arguments)) return kit::kSuccess;

  kit::Report report;
  if (!log.empty()) report.OpenFile(kit::ToWide(log));
  settings.pipeName = kit::ToWide(pipeName);
  for (const std::string& text : greeting) settings.greeting.push_back(ToCommand(text));
  settings.rawGreeting = kit::ParseHex(rawGreeting);
  constexpr DWORD kMillisecondsPerSecond = 1000;
  if (waitSeconds > 0) settings.waitMilliseconds = waitSeconds * kMillisecondsPerSecond;

  report.Line("game: started with the command line " + kit::ToUtf8(GetCommandLineW()));
  Game game(std::move(settings), report);
  game.Play();
  report.Line("game: ended");
  // Threads may still wait for launchers: end the process without running destructors.
  std::fflush(stdout);
  ExitProcess(kit::kSuccess);
}

}  // namespace

int main() { return kit::RunProgram("demo_game", Run); }
