// Measures the workers: server queries in flight and ping batches.
//
//   bench_workers KIT_FOLDER
#include <winsock2.h>
// winsock2.h first.
#include <windows.h>
// windows.h first.
#include <shellapi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "tests/support/dll_host.h"

namespace {

void Require(bool isDone) {
  if (isDone) return;
  std::fprintf(stderr, "error: a socket cannot be set up (%d)\n", WSAGetLastError());
  std::abort();
}

// ---- A game server ---------------------------------------------------------------------------

enum class Answer { kAtOnce, kLate, kNever };

// Answers challenges and queries on 127.0.0.1 until it is destroyed.
class GameServer {
 public:
  explicit GameServer(Answer how) : answer(how), socket(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Require(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0);
    int size = sizeof(address);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
    int room = 1 << 22;
    setsockopt(socket, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&room), sizeof(room));
    if (answer != Answer::kNever) thread = std::thread([this] { Serve(); });
  }
  GameServer(const GameServer&) = delete;
  GameServer& operator=(const GameServer&) = delete;
  ~GameServer() {
    stopping = true;
    if (thread.joinable()) thread.join();
    closesocket(socket);
  }
  unsigned int Port() const { return port; }

 private:
  struct Waiting {
    sockaddr_in to;
    int requestSize;
    DWORD due;
  };

  static constexpr DWORD kLatenessMsec = 30;
  static constexpr int kChallengeSize = 15;

  void Serve() {
    std::vector<Waiting> waiting;
    std::size_t next = 0;
    while (!stopping) {
      fd_set readable;
      FD_ZERO(&readable);
      FD_SET(socket, &readable);
      timeval patience = {0, next < waiting.size() ? 1000 : 20000};
      if (select(0, &readable, nullptr, nullptr, &patience) == 1) {
        char request[64];
        Waiting item = {};
        int size = sizeof(item.to);
        item.requestSize = recvfrom(socket, request, sizeof(request), 0,
                                    reinterpret_cast<sockaddr*>(&item.to), &size);
        item.due = GetTickCount() + (answer == Answer::kLate ? kLatenessMsec : 0);
        waiting.push_back(item);
      }
      for (; next < waiting.size() &&
             static_cast<std::int32_t>(GetTickCount() - waiting[next].due) >= 0;
           ++next) {
        Reply(waiting[next]);
      }
    }
  }

  void Reply(const Waiting& item) {
    static constexpr char kChallenge[] = {1, 2, 3, 4};
    // Version 3, a game without mode, map, round and teams.
    static constexpr char kState[] = {3, 0, 0, 0, 0, 0,  0, 0,
                                      7, 0, 0, 0, 0, 16, 0, static_cast<char>(0x80)};
    const bool challenge = item.requestSize == kChallengeSize;
    sendto(socket, challenge ? kChallenge : kState,
           static_cast<int>(challenge ? sizeof(kChallenge) : sizeof(kState)), 0,
           reinterpret_cast<const sockaddr*>(&item.to), sizeof(item.to));
  }

  Answer answer;
  SOCKET socket;
  unsigned int port = 0;
  std::atomic<bool> stopping{false};
  std::thread thread;
};

// ---- A bare thread per query -----------------------------------------------------------------

struct BareQuery {
  unsigned int port;
};

bool BareStep(SOCKET socket, const sockaddr_in& server, const char* request, int size) {
  sendto(socket, request, size, 0, reinterpret_cast<const sockaddr*>(&server), sizeof(server));
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(socket, &readable);
  timeval second = {1, 0};
  if (select(0, &readable, nullptr, nullptr, &second) != 1) return false;
  std::vector<char> response(65536);
  sockaddr_in source = {};
  int sourceSize = sizeof(source);
  return recvfrom(socket, response.data(), static_cast<int>(response.size()), 0,
                  reinterpret_cast<sockaddr*>(&source), &sourceSize) > 0;
}

DWORD WINAPI BareThread(void* context) {
  const auto& query = *static_cast<BareQuery*>(context);
  const SOCKET socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  Require(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<u_short>(query.port));
  Require(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0);
  constexpr char kRequest[19] = {-1, -1, -1, -1, 'Q', 'P', '_'};
  if (BareStep(socket, address, kRequest, 15)) BareStep(socket, address, kRequest, 19);
  closesocket(socket);
  return 0;
}

void RunBareQueries(int count, unsigned int port) {
  BareQuery query = {port};
  std::vector<HANDLE> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.push_back(CreateThread(nullptr, 0, BareThread, &query, 0, nullptr));
  }
  for (const HANDLE thread : threads) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
}

void RunQueries(ILauncher& launcher, int count, unsigned int port) {
  for (int i = 0; i < count; ++i) {
    launcher.QueryServer(L"request", L"text", L"7", L"127.0.0.1", port);
  }
  launcher.WaitForThreads();
  while (IEventInfo* const event = launcher.GetNextEvent()) launcher.FreeEvent(event);
}

// Nanoseconds of processor time of all threads of the process, those that have ended too. Windows'
// own clocks for it count in steps of 10 ms under Wine, as much as a whole round takes; the kernel
// below Wine counts nanoseconds, and this is its clock_gettime(CLOCK_PROCESS_CPUTIME_ID).
double ProcessorTime() {
  constexpr long long kClockGetTime = 228;
  constexpr long long kProcessClock = 2;
  struct {
    long long seconds;
    long long nanoseconds;
  } time = {};
  long long result = kClockGetTime;
  asm volatile("syscall" : "+a"(result) : "D"(kProcessClock), "S"(&time) : "rcx", "r11", "memory");
  return static_cast<double>(time.seconds) * 1e9 + static_cast<double>(time.nanoseconds);
}

// In nanoseconds.
struct Times {
  double wall;
  double processor;
};

template <typename Work>
Times Measure(const Work& work) {
  const double processor = ProcessorTime();
  const double wall = bench::TimeOf(work, 1);
  return {wall, ProcessorTime() - processor};
}

// What the rounds of one comparison took.
class Samples {
 public:
  void Add(double bare, double ours) {
    baselines.push_back(bare);
    subjects.push_back(ours);
    ratios.push_back(ours / bare);
  }
  bench::Comparison Result() const {
    return {bench::Median(baselines), bench::Median(subjects), bench::Median(ratios)};
  }

 private:
  std::vector<double> baselines;
  std::vector<double> subjects;
  std::vector<double> ratios;
};

void MeasureQueries(ILauncher& launcher) {
  struct Case {
    Answer answer;
    const char* name;
    int rounds;
  };
  for (const Case& test : {Case{Answer::kAtOnce, "answered at once", 15},
                           Case{Answer::kLate, "answered after 30 ms", 11},
                           Case{Answer::kNever, "never answered", 3}}) {
    const GameServer server(test.answer);
    for (const int count : {64, 256, 512}) {
      RunBareQueries(count, server.Port());
      RunQueries(launcher, count, server.Port());
      Samples wall;
      Samples processor;
      // Few queries take so little time that the system's scheduling shows in single rounds.
      const int rounds = count == 64 && test.answer != Answer::kNever ? 61 : test.rounds;
      for (int round = 0; round < rounds; ++round) {
        const Times bare = Measure([&] { RunBareQueries(count, server.Port()); });
        const Times ours = Measure([&] { RunQueries(launcher, count, server.Port()); });
        wall.Add(bare.wall, ours.wall);
        processor.Add(bare.processor, ours.processor);
      }
      const std::string name = std::to_string(count) + " server queries, " + test.name;
      bench::PrintRatio(name + ", wall", "a bare thread per query", wall.Result(), 1.2);
      bench::PrintRatio(name + ", processor", "a bare thread per query", processor.Result(), 1.2);
      if (test.answer == Answer::kNever && count == 512) {
        bench::Print({name, "", wall.Result().subject / 1e9, 1.35, false, "seconds"});
      }
    }
  }
}

// ---- Ping batches ----------------------------------------------------------------------------

// A pipe, a shell start of the helper and its reply, and nothing else.
void RunBarePing(const std::wstring& helper, int number) {
  const std::wstring pipeName = L"\\\\.\\pipe\\bench_ping_" + std::to_wstring(number);
  const HANDLE pipe = CreateNamedPipeW(pipeName.c_str(), PIPE_ACCESS_DUPLEX,
                                       PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                                       PIPE_UNLIMITED_INSTANCES, 1024, 1024, 1000, nullptr);
  const std::wstring line = L"ICMP|500|" + pipeName + L"|127.0.0.1|";
  SHELLEXECUTEINFOW info = {};
  info.cbSize = sizeof(info);
  info.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_ASYNCOK;
  info.lpVerb = L"open";
  info.lpFile = helper.c_str();
  info.lpParameters = line.c_str();
  info.nShow = SW_SHOWNORMAL;
  ShellExecuteExW(&info);
  ConnectNamedPipe(pipe, nullptr);
  char reply[1024];
  DWORD size = 0;
  ReadFile(pipe, reply, sizeof(reply), &size, nullptr);
  DisconnectNamedPipe(pipe);
  CloseHandle(pipe);
}

void MeasurePings(ILauncher& launcher, const std::wstring& kit) {
  SetEnvironmentVariableW(L"KOVLAUNCH_INSTDIR", kit.c_str());
  SetEnvironmentVariableW(L"KIT_HELPER_PING_MODE", L"fixed");
  const std::wstring helper = kit + L"\\helperx64.exe";
  int number = 0;
  for (const unsigned int count : {1U, 16U, 256U}) {
    const std::vector<const wchar_t*> addresses(count, L"127.0.0.1");
    const bench::Comparison comparison =
        bench::Compare([&] { RunBarePing(helper, ++number); }, 1,
                       [&] {
                         launcher.PingBatch(L"batch", addresses.data(), addresses.size());
                         launcher.WaitForThreads();
                         while (IEventInfo* const event = launcher.GetNextEvent())
                           launcher.FreeEvent(event);
                       },
                       1, 31);
    bench::PrintRatio("ping batch, addresses: " + std::to_string(count),
                      "a named pipe and a shell start alone", comparison, 1.1);
  }
}

void Notify(void* calls) { ++*static_cast<std::atomic<int>*>(calls); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: bench_workers KIT_FOLDER\n");
    return 2;
  }
  const test_support::LauncherDll dll;
  std::atomic<int> calls{0};
  ILauncher* const launcher = dll.createLauncher(&calls, Notify);
  MeasureQueries(*launcher);
  const std::string kit = argv[1];
  MeasurePings(*launcher, std::wstring(kit.begin(), kit.end()));
  dll.destroyLauncher(launcher);
  return 0;
}
