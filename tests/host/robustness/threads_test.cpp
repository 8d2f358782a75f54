// Many threads at one launcher, and notifiers that call back into it.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "tests/host/query/query_server.h"
#include "tests/support/ping_helper.h"
#include "tests/support/pipe_server.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

constexpr int kPosters = 8;
// Few enough for all events to wait at once where each block of memory has pages of its own: Linux
// gives a process 65,530 mappings, and a block takes two.
constexpr int kPostsPerThread = 1000;

// Posts numbered events from several threads at once, which all begin together.
class Posters {
 public:
  explicit Posters(DllHost& host) {
    for (int number = 0; number < kPosters; ++number) {
      threads.emplace_back([this, &host, number] {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
        const std::wstring source = std::to_wstring(number);
        for (int i = 0; i < kPostsPerThread; ++i) {
          host.Post(source.c_str(), L"posted", std::to_wstring(i).c_str());
        }
        --running;
      });
    }
  }
  ~Posters() { Join(); }

  bool AreRunning() const { return running > 0; }
  void Join() {
    for (std::thread& thread : threads) {
      if (thread.joinable()) thread.join();
    }
  }

 private:
  std::atomic<int> waiting = kPosters;
  std::atomic<int> running = kPosters;
  std::vector<std::thread> threads;
};

// Counts events and checks that those of each poster come in order.
class Counter {
 public:
  void Take(const std::vector<Event>& events) {
    for (const Event& event : events) {
      ++counts[event.name];
      if (event.name != L"posted") continue;
      EXPECT_EQ(event.arg[0], std::to_wstring(next[event.source])) << event;
      ++next[event.source];
    }
  }
  int CountOf(const wchar_t* name) { return counts[name]; }

 private:
  std::map<std::wstring, int> counts;
  std::map<std::wstring, int> next;
};

TEST(Threads, PostsDrainsQueriesAndPingsAtOnceLoseNothingAndKeepEachThreadsOrder) {
  const StreamCapture errors;
  constexpr int kRounds = 20;
  DllHost host;
  PingHelper helper(host.Module(), PingReply({1}));
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  std::thread serving([&] {
    for (int i = 0; i < kRounds; ++i) Serve(server, BytesOf("\1\2\3\4"), SmallResponse());
  });
  Counter counter;
  Posters posters(host);
  const wchar_t* const address = L"127.0.0.1";
  for (int round = 0; round < kRounds; ++round) {
    host->PingBatch(L"batch", &address, 1);
    host->QueryServer(L"request", L"", L"1", address, server.Port());
    counter.Take(host.Drain());
    host->PollApps();
    counter.Take(host.Drain());
    // The test's server serves one after the other.
    host->WaitForThreads();
  }
  while (posters.AreRunning()) counter.Take(host.Drain());
  posters.Join();
  serving.join();
  counter.Take(host.Drain());
  EXPECT_EQ(counter.CountOf(L"posted"), kPosters * kPostsPerThread);
  EXPECT_EQ(counter.CountOf(L"PingBatchResult"), kRounds);
  EXPECT_EQ(counter.CountOf(L"QueryServerResult"), kRounds);
  EXPECT_EQ(host.Notifications().CallCount(), kPosters * kPostsPerThread + 2 * kRounds);
}

// All that the header allows, on workers, on threads that post and on the host's own: the lock is held
// while the notifier runs, so that it fetches what was queued last, and nobody else can.
TEST(Threads, NotifierMayDoWhatItsThreadAllowsThousandsOfTimes) {
  const StreamCapture errors;
  const StreamCapture output(StreamCapture::Stream::kOutput);
  constexpr int kHostPosts = 2000;
  constexpr int kBatches = 20;
  PipeServer game(LR"(\\.\pipe\solano_pellmar)");
  DllHost host;
  PingHelper helper(host.Module(), PingReply({1}));
  host->PollApps();
  ASSERT_TRUE(game.Accept(kPatienceMs));
  // The other games are not looked for thousands of times.
  IMPORT_HOOK(CreateFileA) opens(host.Module());
  opens.FailAlways(INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND);
  const DWORD ownThread = GetCurrentThreadId();
  std::atomic<IString*> text = nullptr;
  int sent = 0;
  Counter counter;
  // What the notifier does notifies, too.
  thread_local bool isInside = false;
  host.Notifications().SetInsideCall([&] {
    if (isInside) return;
    isInside = true;
    host.Post(L"notifier", L"echo");
    counter.Take(host.Drain());
    host->FreeString(text.exchange(nullptr));
    if (GetCurrentThreadId() == ownThread) {
      host->PollApps();
      if (host->SendCommand(L"SOLANO-GAME", L"c", L"", L"", L"", L"")) ++sent;
    }
    isInside = false;
  });
  Posters posters(host);
  const wchar_t* const address = L"127.0.0.1";
  for (int i = 0; i < kHostPosts; ++i) {
    host->FreeString(text.exchange(host->GetLauncherVersion()));
    if (i % (kHostPosts / kBatches) == 0) {
      // The test's helper serves one after the other.
      host->WaitForThreads();
      host->PingBatch(L"batch", &address, 1);
    }
    host.Post(L"host", L"own");
  }
  posters.Join();
  host->WaitForThreads();
  host->FreeString(text.exchange(nullptr));
  EXPECT_EQ(sent, kHostPosts);
  EXPECT_EQ(counter.CountOf(L"own"), kHostPosts);
  EXPECT_EQ(counter.CountOf(L"posted"), kPosters * kPostsPerThread);
  EXPECT_EQ(counter.CountOf(L"PingBatchResult"), kBatches);
  EXPECT_EQ(counter.CountOf(L"echo"), kHostPosts + kPosters * kPostsPerThread + kBatches);
  EXPECT_TRUE(host.Drain().empty());
}

}  // namespace
}  // namespace test_support
