// Measures a game's pipe: polling without a game, frames in, commands out.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "core/event_sink.h"
#include "core/launcher/event_queue.h"
#include "gamepipe/frame.h"
#include "gamepipe/pellmar_app_base.h"
#include "tests/support/dll_host.h"
#include "tests/support/pipe_server.h"

namespace {

constexpr DWORD kPatienceMsec = 20000;
constexpr int kGames = 7;

// 53 bytes in all.
constexpr char kCommandName[] = "PlayerMove";
constexpr char kCommandArgs[] = "123456 4711.5 -815.25 17.0 3 idle on";

constexpr std::size_t kFramesInRead = 77;
constexpr std::size_t kReadsInRound = 20;

std::string Frames(std::size_t count) {
  launcher::ByteVector bytes;
  const vorn::PellmarCommand command(kCommandName, kCommandArgs);
  for (std::size_t i = 0; i < count; ++i) launcher::AppendFrame(command, bytes);
  return {bytes.begin(), bytes.end()};
}

void WriteLine(DWORD stream, const std::string& line) {
  DWORD written = 0;
  WriteFile(GetStdHandle(stream), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

// ---- Polling without a game ------------------------------------------------------------------

void MeasureIdlePoll(ILauncher& launcher) {
  const auto requiredCalls = [] {
    for (int game = 0; game < kGames; ++game) {
      const HANDLE writeEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
      const HANDLE readEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
      CreateFileA("\\\\.\\pipe\\no_such_game", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                  OPEN_EXISTING,
                  FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING, nullptr);
      CloseHandle(readEvent);
      CloseHandle(writeEvent);
    }
  };
  const auto poll = [&] { launcher.PollApps(); };
  bench::PrintRatio("PollApps, no game running", "the system calls of seven attempts",
                    bench::Compare(requiredCalls, 40, poll, 40), 1.05);
}

// ---- Frames in -------------------------------------------------------------------------------

// The launcher's side of one game, with a queue of events as the launcher has it.
class OneGame final : public launcher::PellmarAppBase, private launcher::EventSink {
 public:
  explicit OneGame(const wchar_t* pipe)
      : PellmarAppBase(static_cast<launcher::EventSink&>(*this), pipe, L"BRENNA-GAME") {}

  void QueueEvent(launcher::EventPtr event) override {
    ++count;
    events.Push(std::move(event));
  }
  void PostStateChange(const wchar_t*, const wchar_t*) override {}

  void Drain() { events.Clear(); }
  std::size_t Count() const { return count; }

 private:
  launcher::EventQueue events;
  std::size_t count = 0;
};

// Reads `size` bytes as the pipe client does, and writes what each frame in them has to leave in
// the log.
void ReadAndLog(HANDLE pipe, HANDLE event, std::size_t size, const std::string& line) {
  std::vector<char> buffer(4096);
  std::size_t frames = size / 53;
  while (size > 0) {
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event;
    DWORD count = 0;
    ResetEvent(event);
    ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, &overlapped);
    if (!GetOverlappedResult(pipe, &overlapped, &count, TRUE)) return;
    size -= count;
  }
  for (; frames > 0; --frames) {
    WriteLine(STD_ERROR_HANDLE, line);
    WriteLine(STD_ERROR_HANDLE, line);
  }
}

// Both sides get the frames in the same way: the game writes one read's worth, then the launcher
// (or the baseline) takes it, so that nobody waits for a thread to be scheduled.
void MeasureFramesIn() {
  const std::string frames = Frames(kFramesInRead);
  const std::string line(60, '.');

  test_support::PipeServer plainServer(L"\\\\.\\pipe\\bench_plain");
  const HANDLE plain = CreateFileA("\\\\.\\pipe\\bench_plain", GENERIC_READ | GENERIC_WRITE, 0,
                                   nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  plainServer.Accept(kPatienceMsec);
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const auto baseline = [&] {
    for (std::size_t i = 0; i < kReadsInRound; ++i) {
      plainServer.Write(frames, kPatienceMsec);
      ReadAndLog(plain, event, frames.size(), line + "\n");
    }
  };

  test_support::PipeServer server(L"\\\\.\\pipe\\bench_game");
  OneGame game(L"\\\\.\\pipe\\bench_game");
  game.Connect();
  server.Accept(kPatienceMsec);
  const auto ours = [&] {
    for (std::size_t i = 0; i < kReadsInRound; ++i) {
      server.Write(frames, kPatienceMsec);
      const std::size_t expected = game.Count() + kFramesInRead;
      while (game.Count() < expected) game.PollPellmar();
      game.Drain();
    }
  };
  const bench::Comparison comparison = bench::Compare(baseline, 1, ours, 1, 31);
  bench::PrintRatio("53-byte frames through a real pipe to host events",
                    "the reads and two log lines a frame", comparison, 2,
                    kFramesInRead * kReadsInRound);
  CloseHandle(event);
  CloseHandle(plain);
}

// ---- Commands out ----------------------------------------------------------------------------

// Reads whatever comes until the pipe breaks.
std::thread StartReader(test_support::PipeServer& server) {
  return std::thread([&server] {
    while (!server.Read(4096, kPatienceMsec).empty()) {
    }
  });
}

void MeasureSendCommand(const test_support::LauncherDll& dll) {
  constexpr int kCommands = 500;
  const std::string frame = Frames(1);
  const std::string line(100, '.');

  test_support::PipeServer plainServer(L"\\\\.\\pipe\\bench_plain_out", 1 << 20);
  const HANDLE plain =
      CreateFileA("\\\\.\\pipe\\bench_plain_out", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                  OPEN_EXISTING, FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OVERLAPPED, nullptr);
  plainServer.Accept(kPatienceMsec);
  std::thread plainReader = StartReader(plainServer);
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const auto baseline = [&] {
    for (int i = 0; i < kCommands; ++i) {
      WriteLine(STD_ERROR_HANDLE, line + "\n");
      WriteLine(STD_ERROR_HANDLE, line + "\n");
      WriteLine(STD_ERROR_HANDLE, "AshgroveApp::SendCommand: Sending command!\n");
      OVERLAPPED overlapped = {};
      overlapped.hEvent = event;
      ResetEvent(event);
      WriteFile(plain, frame.data(), static_cast<DWORD>(frame.size()), nullptr, &overlapped);
      DWORD written = 0;
      GetOverlappedResult(plain, &overlapped, &written, TRUE);
      WriteLine(STD_ERROR_HANDLE, "AshgroveApp::SendCommand: DONE!\n");
    }
  };

  test_support::PipeServer server(L"\\\\.\\pipe\\solano_pellmar", 1 << 20);
  int calls = 0;
  ILauncher* const launcher =
      dll.createLauncher(&calls, [](void* count) { ++*static_cast<int*>(count); });
  launcher->PollApps();
  server.Accept(kPatienceMsec);
  std::thread reader = StartReader(server);
  const auto ours = [&] {
    for (int i = 0; i < kCommands; ++i) {
      launcher->SendCommand(L"SOLANO-GAME", L"PlayerMove", L"123456 4711.5 -815.25", L"17.0 3",
                            L"idle", L"on");
    }
  };
  const bench::Comparison comparison = bench::Compare(baseline, 1, ours, 1, 31);
  bench::PrintRatio("SendCommand through a real pipe",
                    "one overlapped WriteFile and four log writes", comparison, 1.1, kCommands);
  dll.destroyLauncher(launcher);
  CloseHandle(plain);
  reader.join();
  plainReader.join();
  CloseHandle(event);
}

}  // namespace

int main() {
  const test_support::LauncherDll dll;
  int calls = 0;
  ILauncher* const launcher =
      dll.createLauncher(&calls, [](void* count) { ++*static_cast<int*>(count); });
  MeasureIdlePoll(*launcher);
  dll.destroyLauncher(launcher);
  MeasureFramesIn();
  MeasureSendCommand(dll);
  return 0;
}
