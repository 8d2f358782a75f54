// Measures events through the DLL: posted, fetched, read through all ten getters, freed.
#include <windows.h>
// windows.h first.
#include <psapi.h>

#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "tests/support/dll_host.h"

namespace {

constexpr int kEventsInRound = 20000;
constexpr int kEventRounds = 101;

constexpr const wchar_t* kSource = L"BRENNA-GAME";
constexpr const wchar_t* kName = L"StateChanged";
constexpr std::array<const wchar_t*, 3> kArguments = {L"READY", L"second", L"third"};

void Notify(void* calls) { bench::Use(calls); }

// The plain way: a deque of pointers to records of ten strings under a critical section.
class PlainQueue {
 public:
  using Record = std::array<std::wstring, 10>;

  PlainQueue() { InitializeCriticalSection(&lock); }
  PlainQueue(const PlainQueue&) = delete;
  PlainQueue& operator=(const PlainQueue&) = delete;
  ~PlainQueue() { DeleteCriticalSection(&lock); }

  void Post() {
    auto record = std::make_unique<Record>();
    (*record)[0] = kSource;
    (*record)[1] = kName;
    for (std::size_t i = 0; i < kArguments.size(); ++i) (*record)[2 + i] = kArguments[i];
    for (std::size_t i = 2 + kArguments.size(); i < record->size(); ++i) (*record)[i] = L"";
    EnterCriticalSection(&lock);
    records.push_back(record.release());
    Notify(&calls);
    LeaveCriticalSection(&lock);
  }

  bool Drain() {
    EnterCriticalSection(&lock);
    Record* record = nullptr;
    if (!records.empty()) {
      record = records.front();
      records.pop_front();
    }
    LeaveCriticalSection(&lock);
    if (record == nullptr) return false;
    for (const std::wstring& text : *record) bench::Use(text.c_str());
    delete record;
    return true;
  }

 private:
  CRITICAL_SECTION lock;
  std::deque<Record*> records;
  int calls = 0;
};

class DllQueue {
 public:
  explicit DllQueue(ILauncher& host) : launcher(host) {}

  void Post() {
    launcher.PostEvent(kSource, kName, kArguments[0], kArguments[1], kArguments[2], nullptr,
                       nullptr, nullptr, nullptr, nullptr);
  }

  bool Drain() {
    IEventInfo* const event = launcher.GetNextEvent();
    if (event == nullptr) return false;
    for (const wchar_t* const text :
         {event->GetSource(), event->GetName(), event->GetArg0(), event->GetArg1(),
          event->GetArg2(), event->GetArg3(), event->GetArg4(), event->GetArg5(), event->GetArg6(),
          event->GetArg7()}) {
      bench::Use(text);
    }
    launcher.FreeEvent(event);
    return true;
  }

 private:
  ILauncher& launcher;
};

// Posts and drains the round's events; several posters run beside the one that drains.
template <typename Queue>
void RunRound(Queue& queue, int posters) {
  if (posters == 1) {
    for (int i = 0; i < kEventsInRound; ++i) {
      queue.Post();
      queue.Drain();
    }
    return;
  }
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(posters));
  for (int poster = 0; poster < posters; ++poster) {
    threads.emplace_back([&] {
      for (int i = 0; i < kEventsInRound / posters; ++i) queue.Post();
    });
  }
  for (int drained = 0; drained < kEventsInRound;) {
    if (queue.Drain()) {
      ++drained;
    } else {
      std::this_thread::yield();
    }
  }
  for (std::thread& thread : threads) thread.join();
}

// Nanoseconds an event costs when `waiting` are posted before any is fetched.
template <typename Queue>
double CostWith(Queue& queue, int waiting) {
  const int repetitions = 1000000 / waiting;
  return bench::TimeOf(
             [&] {
               for (int i = 0; i < waiting; ++i) queue.Post();
               while (queue.Drain()) {
               }
             },
             repetitions) /
         waiting;
}

double BytesPerWaitingEvent(DllQueue& queue) {
  constexpr int kWaiting = 200000;
  const auto committed = [] {
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return static_cast<double>(counters.WorkingSetSize);
  };
  const double before = committed();
  for (int i = 0; i < kWaiting; ++i) queue.Post();
  const double bytes = (committed() - before) / kWaiting;
  while (queue.Drain()) {
  }
  return bytes;
}

}  // namespace

int main() {
  const test_support::LauncherDll dll;
  int calls = 0;
  ILauncher* const launcher = dll.createLauncher(&calls, Notify);
  DllQueue ours(*launcher);
  // First, while the process has no memory left over from other rows.
  bench::Print({"a waiting event with three short arguments", "", BytesPerWaitingEvent(ours), 400,
                false, "bytes"});
  PlainQueue plain;
  for (const int posters : {1, 4}) {
    bench::PrintRatio("event post, get, ten getters, free; posters: " + std::to_string(posters),
                      "deque of ten-string records",
                      bench::Compare([&] { RunRound(plain, posters); }, 1,
                                     [&] { RunRound(ours, posters); }, 1, kEventRounds),
                      posters == 1 ? 0.55 : 0.5, kEventsInRound);
  }
  for (const int waiting : {1, 1000, 1000000}) {
    const std::string name = "an event when " + std::to_string(waiting) + " wait";
    bench::PrintFigure(name, CostWith(ours, waiting), "nanoseconds");
    bench::PrintFigure(name + ", in the deque", CostWith(plain, waiting), "nanoseconds");
  }
  dll.destroyLauncher(launcher);
  return 0;
}
