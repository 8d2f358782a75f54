// A host's weeks in minutes: launchers, events, pipes, queries and ping batches by the thousand,
// with the curves of memory and handles. Ends with failure when one of them is not flat. With
// --hostile the same for a game, a server and a helper that send whatever they like. `soak --help`
// lists the options.
//
// It looks for the DLL where the tests do. What a launcher leaves allocated on purpose is taken off
// the curves.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/host/robustness/hostile_peers.h"
#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/ping_helper.h"
#include "tests/support/pipe_server.h"
#include "tests/support/process_snapshot.h"

namespace test_support {
namespace {

struct Amounts {
  unsigned long long launchers = 10000;
  unsigned long long events = 1000000;
  unsigned long long connects = 10000;
  unsigned long long queries = 2000;
  unsigned long long batches = 200;
  // For all hostile peers together.
  unsigned long long seconds = 300;
  std::uint64_t seed = 20140331;
};

// Blocks that every launcher leaves allocated on purpose.
constexpr std::size_t kBlocksPerLauncher = 21;

struct Sample {
  std::size_t handles = 0;
  HeapUse heap;
};

// The system makes some things when two threads first meet somewhere, at a moment of its own.
constexpr std::size_t kSlackHandles = 8;
constexpr std::size_t kSlackBlocks = 100;
constexpr std::size_t kSlackBytes = 100000;

bool IsFlat(const Sample& begin, const Sample& end) {
  return end.handles <= begin.handles + kSlackHandles &&
         end.heap.blocks <= begin.heap.blocks + kSlackBlocks &&
         end.heap.bytes <= begin.heap.bytes + kSlackBytes;
}

// The first tenth of a phase is not part of its curve: everybody warms up.
constexpr unsigned long long kWarmUpShare = 10;

Sample TakeSample() { return {CountHandles(), MeasureHeaps()}; }

void Print(const char* when, const Sample& sample) {
  std::printf("  %-6s %6zu handles %8zu blocks %10zu bytes\n", when, sample.handles,
              sample.heap.blocks, sample.heap.bytes);
  std::fflush(stdout);
}

// Runs `step` so often and shows the curve. `meant`: what each step leaves on purpose. Returns
// whether the curve is flat.
bool RunPhase(const char* name, unsigned long long count, const std::function<void()>& step,
              const HeapUse& meant = {}) {
  std::printf("%s: %llu\n", name, count);
  const unsigned long long warmUp = count / kWarmUpShare;
  for (unsigned long long i = 0; i < warmUp; ++i) step();
  const Sample begin = TakeSample();
  Print("start", begin);
  for (unsigned long long i = warmUp; i < count; ++i) step();
  Sample end = TakeSample();
  const unsigned long long steps = count - warmUp;
  end.heap.blocks -= static_cast<std::size_t>(steps) * meant.blocks;
  end.heap.bytes -= static_cast<std::size_t>(steps) * meant.bytes;
  Print("end", end);
  const bool isFlat = IsFlat(begin, end);
  std::printf("  %s\n", isFlat ? "flat" : "NOT FLAT");
  return isFlat;
}

// Writing lines would take longer than everything else.
std::size_t DropLine(const void*, std::size_t, std::size_t count, FILE*) { return count; }

void Expect(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

// What the launchers of a process without games can do.
void LiveOnce(DllHost& host) {
  host.Create();
  host->SetParameter(L"BRENNA-GAME", L"key", L"value");
  Expect(host.GetParameter(L"BRENNA-GAME", L"key") == L"value", "GetParameter");
  // By path, so that it does not matter what is installed.
  host->SetParameter(L"BRENNA-GAME", L"probeMethod", L"path");
  Expect(host.GetVersion(L"BRENNA-GAME") == L"NOT_INSTALLED", "GetVersion");
  Expect(host.GetLauncherVersion() == L"162", "GetLauncherVersion");
  // One is fetched, the others are discarded with the launcher.
  for (int i = 0; i < 3; ++i) host.Post(L"source", L"name", L"argument");
  host->FreeEvent(host->GetNextEvent());
  host->PollApps();
  host.Destroy();
}

// Bytes that one launcher leaves on purpose; the blocks are known.
HeapUse MeasureLauncher(DllHost& host) {
  constexpr std::size_t kTimes = 50;
  for (std::size_t i = 0; i < kTimes; ++i) LiveOnce(host);
  const HeapUse before = MeasureHeaps();
  for (std::size_t i = 0; i < kTimes; ++i) LiveOnce(host);
  const HeapUse after = MeasureHeaps();
  return {kBlocksPerLauncher, (after.bytes - before.bytes) / kTimes};
}

void ConnectOnce(DllHost& host) {
  PipeServer game(LR"(\\.\pipe\solano_pellmar)");
  Expect(host.WaitForEvent(L"StateChanged", kPatienceMs, DllHost::Polling::kPollApps).has_value(),
         "READY");
  Expect(game.Accept(kPatienceMs), "a connection");
  game.Close();
  Expect(host.WaitForEvent(L"StateChanged", kPatienceMs, DllHost::Polling::kPollApps).has_value(),
         "GAMEISGONE");
}

// A host with a launcher, whose lines are dropped.
class SoakedHost {
 public:
  SoakedHost() : lines(host.Module()) {
    lines.Redirect("fwrite", reinterpret_cast<void*>(&DropLine));
  }
  DllHost& Host() { return host; }

 private:
  DllHost host{DllHost::Creation::kLater};
  ImportRedirector lines;
};

bool RunEvents(DllHost& host, unsigned long long count) {
  constexpr unsigned long long kAtOnce = 1000;
  return RunPhase("events, in thousands", count / kAtOnce, [&] {
    for (unsigned long long i = 0; i < kAtOnce; ++i) host.Post(L"source", L"name", L"0");
    for (unsigned long long i = 0; i < kAtOnce; ++i) {
      IEventInfo* const event = host->GetNextEvent();
      Expect(event != nullptr, "an event");
      host->FreeEvent(event);
    }
    Expect(host->GetNextEvent() == nullptr, "no event");
    host.Notifications().Forget();
  });
}

bool RunQueries(DllHost& host, unsigned long long count, std::uint64_t seed) {
  constexpr unsigned long long kAtOnce = 20;
  HostileServer server(host, seed);
  return RunPhase("queries, in twenties at once", count / kAtOnce, [&] {
    const std::string complaint = server.Ask(kAtOnce);
    Expect(complaint.empty(), complaint.c_str());
    host.Notifications().Forget();
  });
}

bool RunBatches(DllHost& host, unsigned long long count) {
  return RunPhase("ping batches", count, [&] {
    // For each batch a helper of its own, whose thread ends with it.
    PingHelper helper(host.Module(), PingReply({1, 2}));
    const wchar_t* const addresses[] = {L"127.0.0.1", L"127.0.0.2"};
    host->PingBatch(L"batch", addresses, 2);
    host->WaitForThreads();
    Expect(host.WaitForEvent(L"PingBatchResult").has_value(), "a result");
    host.Notifications().Forget();
  });
}

bool RunFriendly(const Amounts& amounts) {
  SoakedHost soaked;
  DllHost& host = soaked.Host();
  const HeapUse launcher = MeasureLauncher(host);
  bool isFlat = RunPhase(
      "launchers", amounts.launchers, [&] { LiveOnce(host); }, launcher);
  host.Create();
  isFlat &= RunEvents(host, amounts.events);
  isFlat &= RunPhase("pipe connects and breaks", amounts.connects, [&] {
    ConnectOnce(host);
    host.Notifications().Forget();
  });
  isFlat &= RunQueries(host, amounts.queries, amounts.seed);
  isFlat &= RunBatches(host, amounts.batches);
  host.Destroy();
  return isFlat;
}

// As many rounds as the time allows.
bool RunHostilePeer(DllHost& host, const char* name, unsigned long long seconds,
                    const std::function<std::string()>& round) {
  constexpr int kWarmUp = 50;
  std::printf("%s: %llu s\n", name, seconds);
  Sample begin;
  int rounds = 0;
  const ULONGLONG end = GetTickCount64() + 1000 * seconds;
  while (GetTickCount64() < end || rounds <= kWarmUp) {
    const std::string complaint = round();
    Expect(complaint.empty(), (complaint + ", round " + std::to_string(rounds)).c_str());
    host.Notifications().Forget();
    if (++rounds != kWarmUp) continue;
    begin = TakeSample();
    Print("start", begin);
  }
  const Sample last = TakeSample();
  Print("end", last);
  const bool isFlat = IsFlat(begin, last);
  std::printf("  %d rounds, %s\n", rounds, isFlat ? "flat" : "NOT FLAT");
  return isFlat;
}

bool RunHostile(const Amounts& amounts) {
  constexpr unsigned long long kPeers = 3;
  const unsigned long long seconds = amounts.seconds / kPeers;
  std::printf("seed %llu\n", static_cast<unsigned long long>(amounts.seed));
  SoakedHost soaked;
  DllHost& host = soaked.Host();
  host.Create();
  HostileGame game(host, amounts.seed);
  bool isFlat = RunHostilePeer(host, "a hostile game", seconds, [&] { return game.Live(); });
  {
    HostileServer server(host, amounts.seed);
    isFlat &= RunHostilePeer(host, "a hostile server", seconds, [&] { return server.Ask(8); });
  }
  HostileHelper helper(host, amounts.seed);
  isFlat &= RunHostilePeer(host, "a hostile helper", seconds, [&] { return helper.Live(); });
  host.Destroy();
  return isFlat;
}

int RunProgram(int argumentCount, char** arguments) {
  Amounts amounts;
  bool isHostile = false;
  CLI::App options("Lets launcher.dll work for weeks in minutes.", "soak");
  options.add_option("--launchers", amounts.launchers, "launchers created and destroyed");
  options.add_option("--events", amounts.events, "events posted and fetched");
  options.add_option("--connects", amounts.connects, "connections to a game's pipe");
  options.add_option("--queries", amounts.queries, "server queries");
  options.add_option("--batches", amounts.batches, "ping batches");
  options.add_flag("--hostile", isHostile, "hostile peers instead of all that");
  options.add_option("--seconds", amounts.seconds, "how long the hostile peers play");
  options.add_option("--seed", amounts.seed, "what the hostile peers send");
  CLI11_PARSE(options, argumentCount, arguments);
  try {
    const bool isFlat = isHostile ? RunHostile(amounts) : RunFriendly(amounts);
    std::printf("%s\n", isFlat ? "all flat" : "NOT all flat");
    return isFlat ? 0 : 1;
  } catch (const std::exception& failure) {
    std::printf("failed: %s\n", failure.what());
    return 1;
  }
}

}  // namespace
}  // namespace test_support

int main(int argumentCount, char** arguments) {
  return test_support::RunProgram(argumentCount, arguments);
}
