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

constexpr char kHelp[] =
    R"(demo_game - stand-in for a game

Offers the named pipe over which a launcher and a running game exchange commands (a
name and words), prints every command that arrives and answers some:

  echo WORDS        sends the command "echo WORDS" back
  send NAME WORDS   sends the command "NAME WORDS"
  quit              ends the game

Copied under the file name of a real game (ag4.exe, agx.exe, TAVR.exe, ag3.exe, ...)
it offers the pipe of that game, so that a launcher finds it without further options.

  demo_game [options]

  --pipe NAME            name of the pipe, as \\.\pipe\demo; needed unless the file
                         name is that of a known game
  --instances N          how many launchers may be connected at once (default 4). Two
                         entries of the launcher may share one pipe name: with one
                         instance only the first of them gets it
  --send "NAME WORDS"    sent to every launcher that connects; may be repeated
  --send-raw "HEX"       bytes sent as they stand after that, such as "4b 45 00"
  --quit-after N         ends after N received commands
  --stay                 goes on when the last launcher has left (else the game ends)
  --wait SECONDS         ends when no launcher has come for so long (default: waits on)
  --log FILE             appends everything that is printed to FILE
  --help                 this text

The environment variable KIT_GAME_OPTIONS, when set, replaces the options; the command
line is then only printed. That is for hosts whose command line belongs to a real game.

Exit code: 0 ended as told, 1 failed, 2 wrong options.
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

/// The pipe of the game whose file name this program bears, or an empty text.
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
  DWORD instances = 1;
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
      report.Line("game: no launcher came, ending");
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
      // A launcher may have come, or come and gone, before the call: reading tells the rest.
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
      while (const auto command = frames.Next()) Obey(pipe, *command);
    }
  }

  void Obey(HANDLE pipe, const kit::Command& command) {
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
  const auto replacement = kit::Environment(L"KIT_GAME_OPTIONS");
  if (replacement) arguments = kit::SplitCommandLine((L"demo_game " + *replacement).c_str());
  const kit::Options options(
      arguments,
      {"--pipe", "--instances", "--send", "--send-raw", "--quit-after", "--wait", "--log"},
      {"--stay", "--help"});
  if (options.Has("--help")) {
    std::fputs(kHelp, stdout);
    return kit::kSuccess;
  }
  kit::Report report;
  if (options.Has("--log")) report.OpenFile(kit::ToWide(options.Text("--log", "")));

  GameSettings settings;
  settings.pipeName = kit::ToWide(options.Text("--pipe", PipeOfOwnFileName()));
  if (settings.pipeName.empty()) throw kit::UsageError("option --pipe is missing");
  constexpr std::uint64_t kMaxInstances = 254;  // 255 means "no limit" to Windows
  settings.instances = static_cast<DWORD>(options.Number("--instances", 4, 1, kMaxInstances));
  for (const std::string& text : options.All("--send")) {
    settings.greeting.push_back(ToCommand(text));
  }
  settings.rawGreeting = kit::ParseHex(options.Text("--send-raw", ""));
  settings.quitAfter = options.Number("--quit-after", 0, 1, 1000000);
  settings.stay = options.Has("--stay");
  constexpr std::uint64_t kMaxSeconds = 86400;
  if (options.Has("--wait")) {
    settings.waitMilliseconds =
        static_cast<DWORD>(1000 * options.Number("--wait", 0, 1, kMaxSeconds));
  }

  report.Line("game: started with the command line " + kit::ToUtf8(GetCommandLineW()));
  Game game(std::move(settings), report);
  game.Play();
  report.Line("game: over");
  // Threads may still wait for launchers; ending the process at once spares them the destructors.
  std::fflush(stdout);
  ExitProcess(kit::kSuccess);
}

}  // namespace

int main() { return kit::RunProgram("demo_game", Run); }
