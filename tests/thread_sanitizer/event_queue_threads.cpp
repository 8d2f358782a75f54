// The queue of events and the events themselves under ThreadSanitizer: many threads make, push,
// pop, read and free events, with a mutex in place of the launcher's lock. The events travel
// between the threads, which is where a forgotten barrier or a shared counter would show.
#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/launcher/event_queue.h"

namespace {

constexpr int kPosters = 8;
constexpr int kFetchers = 3;
constexpr int kEventsPerPoster = 5000;

class LockedQueue {
 public:
  void Push(launcher::EventPtr event) {
    const std::lock_guard guard(mutex);
    queue.Push(std::move(event));
  }
  launcher::EventPtr Pop() {
    const std::lock_guard guard(mutex);
    return queue.Pop();
  }

 private:
  std::mutex mutex;
  launcher::EventQueue queue;
};

void Post(LockedQueue& queue, int poster) {
  const std::wstring source = std::to_wstring(poster);
  for (int i = 0; i < kEventsPerPoster; ++i) {
    const std::wstring number = std::to_wstring(i);
    queue.Push(launcher::EventInfo::Create({source, L"name", {number}}));
  }
}

// What one fetcher got: the numbers of each poster, in the order in which they came.
using Fetched = std::map<std::wstring, std::vector<int>>;

void Fetch(LockedQueue& queue, std::atomic<int>& left, Fetched& fetched) {
  while (left > 0) {
    const launcher::EventPtr event = queue.Pop();
    if (event == nullptr) {
      std::this_thread::yield();
      continue;
    }
    --left;
    fetched[event->GetSource()].push_back(std::stoi(event->GetArg0()));
  }
}

}  // namespace

int main() {
  LockedQueue queue;
  std::atomic<int> left = kPosters * kEventsPerPoster;
  std::vector<Fetched> fetched(kFetchers);
  std::vector<std::thread> threads;
  for (int i = 0; i < kPosters; ++i) threads.emplace_back(Post, std::ref(queue), i);
  for (Fetched& own : fetched)
    threads.emplace_back(Fetch, std::ref(queue), std::ref(left), std::ref(own));
  for (std::thread& thread : threads) thread.join();

  int count = 0;
  for (const Fetched& own : fetched) {
    for (const auto& [source, numbers] : own) {
      count += static_cast<int>(numbers.size());
      for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] > numbers[i - 1]) continue;
        std::printf("poster %ls: %d came behind %d\n", source.c_str(), numbers[i], numbers[i - 1]);
        return 1;
      }
    }
  }
  std::printf("%d events of %d\n", count, kPosters * kEventsPerPoster);
  return count == kPosters * kEventsPerPoster ? 0 : 1;
}
