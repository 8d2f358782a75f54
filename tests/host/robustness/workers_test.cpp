// What the worker threads of ping batches and of server queries have in common: how they are
// started, waited for and ended.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/lock_probe.h"
#include "tests/support/ping_helper.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// A kind of work that runs on a thread of its own and needs nobody else to end.
struct Worker {
  const char* name;
  void (*start)(DllHost& host, const wchar_t* id);
  const wchar_t* eventName;
  /// Where the event has the identifier.
  std::wstring (*idOf)(const Event& event);
};

void PrintTo(const Worker& worker, std::ostream* out) { *out << worker.name; }

// The helper of these batches answers at once; see the fixture.
void StartBatch(DllHost& host, const wchar_t* id) {
  const wchar_t* const addresses[] = {L"10.0.0.1", L"10.0.0.2"};
  host->PingBatch(id, addresses, 2);
}

// A query that ends without traffic, at its game identifier.
void StartQuery(DllHost& host, const wchar_t* id) {
  host->QueryServer(id, L"", L"none", L"127.0.0.1", 9);
}

constexpr Worker kWorkers[] = {
    {"PingBatch", StartBatch, L"PingBatchResult", [](const Event& event) { return event.arg[0]; }},
    {"QueryServer", StartQuery, L"QueryServerResult",
     [](const Event& event) { return event.source; }},
};

class PingQueryWorkers : public testing::TestWithParam<Worker> {
 protected:
  PingQueryWorkers() : host(DllHost::Creation::kLater), lock(host.Module()) { host.Create(); }

  void Start(const wchar_t* id = L"id") { GetParam().start(host, id); }

  DllHost host;
  const LockProbe lock;
  std::optional<PingHelper> helper{std::in_place, host.Module(), PingReply({7, 8})};
};

INSTANTIATE_TEST_SUITE_P(Kinds, PingQueryWorkers, testing::ValuesIn(kWorkers),
                         testing::PrintToStringParamName());

TEST_P(PingQueryWorkers, ThreadIsStartedUnderTheLockWithTheContextAsItsOnlyArgument) {
  IMPORT_HOOK(CreateThread) creates(host.Module());
  bool isLocked = false;
  creates.SetReplacement([&](SECURITY_ATTRIBUTES* security, SIZE_T stackSize,
                             LPTHREAD_START_ROUTINE procedure, void* context, DWORD flags,
                             DWORD* id) {
    isLocked = !lock.IsFree();
    EXPECT_EQ(security, nullptr);
    EXPECT_EQ(stackSize, 0U);
    EXPECT_NE(context, nullptr);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(id, nullptr);
    return creates.CallOriginal(security, stackSize, procedure, context, flags, id);
  });
  Start();
  EXPECT_TRUE(isLocked);
  host->WaitForThreads();
  EXPECT_TRUE(lock.IsFree());
  EXPECT_EQ(creates.CallCount(), 1U);
}

// What the host does with its text when the lock is taken no longer matters.
TEST_P(PingQueryWorkers, ContextIsMadeBeforeTheLockIsTaken) {
  wchar_t id[] = L"mine";
  IMPORT_HOOK(EnterCriticalSection) enters(host.Module());
  enters.SetReplacement([&](CRITICAL_SECTION* section) {
    std::fill_n(id, 4, L'x');
    ::EnterCriticalSection(section);
  });
  Start(id);
  EXPECT_STREQ(id, L"xxxx");
  host->WaitForThreads();
  const std::vector<Event> events = host.Drain();
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(GetParam().idOf(events[0]), L"mine");
}

// The list of threads cannot be filled here; its exception comes from where it is thrown.
TEST_P(PingQueryWorkers, AFullListOfThreadsIsTheHostsException) {
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.SetReplacement([](auto...) -> HANDLE { throw std::length_error("list<T> too long"); });
  EXPECT_THROW(Start(), std::length_error);
  EXPECT_TRUE(lock.IsFree());
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_P(PingQueryWorkers, ThreadProcedureReturnsZero) {
  ScopedHandle thread;
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.SetReplacement([&](SECURITY_ATTRIBUTES* security, SIZE_T stackSize,
                             LPTHREAD_START_ROUTINE procedure, void* context, DWORD flags,
                             DWORD* id) {
    const HANDLE handle = creates.CallOriginal(security, stackSize, procedure, context, flags, id);
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    thread.Reset(copy);
    return handle;
  });
  Start();
  host->WaitForThreads();
  DWORD exitCode = STILL_ACTIVE;
  EXPECT_TRUE(GetExitCodeThread(thread.Get(), &exitCode));
  EXPECT_EQ(exitCode, 0U);
}

TEST_P(PingQueryWorkers, WaitingJoinsTheOldestFirstWithoutATimeLimitAndClosesAllHandles) {
  std::vector<HANDLE> threads;
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.SetReplacement([&](SECURITY_ATTRIBUTES* security, SIZE_T stackSize,
                             LPTHREAD_START_ROUTINE procedure, void* context, DWORD flags,
                             DWORD* id) {
    threads.push_back(creates.CallOriginal(security, stackSize, procedure, context, flags, id));
    return threads.back();
  });
  for (int i = 0; i < 3; ++i) Start();
  std::vector<std::pair<std::string, HANDLE>> calls;
  const DWORD hostThread = GetCurrentThreadId();
  IMPORT_HOOK(WaitForSingleObject) waits(host.Module());
  waits.SetReplacement([&](HANDLE object, DWORD limit) {
    EXPECT_EQ(limit, INFINITE);
    if (GetCurrentThreadId() == hostThread) calls.emplace_back("wait", object);
    return waits.CallOriginal(object, limit);
  });
  IMPORT_HOOK(CloseHandle) closes(host.Module());
  closes.SetReplacement([&](HANDLE object) {
    if (GetCurrentThreadId() == hostThread) calls.emplace_back("close", object);
    return closes.CallOriginal(object);
  });
  host->WaitForThreads();
  ASSERT_THAT(threads, SizeIs(3));
  const std::vector<std::pair<std::string, HANDLE>> expected = {
      {"wait", threads[0]},  {"close", threads[0]}, {"wait", threads[1]},
      {"close", threads[1]}, {"wait", threads[2]},  {"close", threads[2]}};
  EXPECT_EQ(calls, expected);
  // They are forgotten.
  host->WaitForThreads();
  host.Destroy();
  EXPECT_EQ(calls, expected);
}

TEST_P(PingQueryWorkers, FailedCreateThreadIsRecordedLikeAnyOther) {
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.FailAlways(static_cast<HANDLE>(nullptr), ERROR_NOT_ENOUGH_MEMORY);
  Start();
  std::vector<std::string> calls;
  IMPORT_HOOK(WaitForSingleObject) waits(host.Module());
  waits.SetReplacement([&](HANDLE object, DWORD) {
    calls.emplace_back(object == nullptr ? "wait for null" : "wait");
    return WAIT_FAILED;
  });
  IMPORT_HOOK(CloseHandle) closes(host.Module());
  closes.SetReplacement([&](HANDLE object) {
    calls.emplace_back(object == nullptr ? "close null" : "close");
    return FALSE;
  });
  host->WaitForThreads();
  EXPECT_THAT(calls, ElementsAre("wait for null", "close null"));
  EXPECT_THAT(host.Drain(), IsEmpty());
}

TEST_P(PingQueryWorkers, NotifierRunsUnderTheLockOnTheWorkerWithTheResultQueued) {
  bool isLocked = false;
  std::vector<Event> seen;
  host.Notifications().SetInsideCall([&] {
    isLocked = !lock.IsFree();
    seen = host.Drain();
  });
  Start(L"here");
  host->WaitForThreads();
  EXPECT_TRUE(isLocked);
  EXPECT_TRUE(lock.IsFree());
  ASSERT_THAT(host.Notifications().ThreadIds(), SizeIs(1));
  EXPECT_NE(host.Notifications().ThreadIds()[0], GetCurrentThreadId());
  ASSERT_THAT(seen, SizeIs(1));
  EXPECT_EQ(seen[0].name, GetParam().eventName);
  EXPECT_EQ(GetParam().idOf(seen[0]), L"here");
}

/// Runs a waiting call of the host on a thread of its own and knows when it waits for a worker.
class WaitingCall {
 public:
  WaitingCall(DllHost& host, const std::function<void()>& call)
      : waits(host.Module()), waiting(MakeManualResetEvent()) {
    waits.SetReplacement([this](HANDLE object, DWORD limit) {
      SetEvent(waiting.Get());
      return waits.CallOriginal(object, limit);
    });
    thread = std::thread([this, call] {
      call();
      wasReleased = isReleased.load();
    });
    EXPECT_TRUE(WaitFor(waiting.Get(), kPatienceMs));
  }
  ~WaitingCall() {
    if (thread.joinable()) thread.join();
  }
  WaitingCall(const WaitingCall&) = delete;
  WaitingCall& operator=(const WaitingCall&) = delete;

  /// To be called before the worker is let go.
  void Release() { isReleased = true; }
  /// Whether the call returned only after the release.
  bool Join() {
    thread.join();
    return wasReleased;
  }

 private:
  std::atomic<bool> isReleased = false;
  std::atomic<bool> wasReleased = false;
  IMPORT_HOOK(WaitForSingleObject) waits;
  ScopedHandle waiting;
  std::thread thread;
};

TEST_P(PingQueryWorkers, DestructionWaitsForTheResultAndDiscardsIt) {
  const ScopedHandle posting = MakeManualResetEvent();
  const ScopedHandle gate = MakeManualResetEvent();
  host.Notifications().SetInsideCall([&] {
    SetEvent(posting.Get());
    EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
  });
  Start();
  EXPECT_TRUE(WaitFor(posting.Get(), kPatienceMs));
  const StreamCapture log;
  WaitingCall destruction(host, [&] { host.Destroy(); });
  // The applications go after the worker.
  EXPECT_THAT(log.Text(), testing::StartsWith("AppLauncher::~AppLauncher: Destroying instance "));
  EXPECT_EQ(CountOf(log.Text(), "BaseApp::~BaseApp"), 0U);
  destruction.Release();
  SetEvent(gate.Get());
  EXPECT_TRUE(destruction.Join());
  EXPECT_EQ(host.Notifications().CallCount(), 1);
}

TEST(PingWorkers, BatchWritesItsFirstLinesBeforeTheLockIsTaken) {
  DllHost host(DllHost::Creation::kLater);
  const LockProbe lock(host.Module());
  host.Create();
  // No thread is started, so that all lines are the call's.
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.FailAlways(static_cast<HANDLE>(nullptr), ERROR_NOT_ENOUGH_MEMORY);
  const DWORD own = GetCurrentThreadId();
  // With each line, how often the lock had been entered.
  std::vector<std::pair<std::string, std::size_t>> lines;
  const LineHook writes(host.Module(), [&](const std::string& line, FILE*) {
    lines.emplace_back(line, lock.EnteredBy(own));
  });
  StartBatch(host, L"id");
  EXPECT_THAT(
      lines,
      ElementsAre(std::pair("AppLauncher::PingBatch: Starting new batch\n", 0U),
                  std::pair("AppLauncher::PingBatch: Creating PingInfo for 10.0.0.1\n", 0U),
                  std::pair("AppLauncher::PingBatch: Creating PingInfo for 10.0.0.2\n", 0U)));
  EXPECT_EQ(lock.EnteredBy(own), 1U);
}

// The test lets the library go by connecting to the pipe itself.
TEST(PingWorkers, HelperThatNeverConnectsKeepsWaitForThreadsWaiting) {
  DllHost host;
  const PingHelper helper(host.Module(), [](const std::wstring&) {});
  const wchar_t* const addresses[] = {L"10.0.0.1"};
  host->PingBatch(L"batch", addresses, 1);
  EXPECT_TRUE(helper.WaitForStarts(1, kPatienceMs));
  WaitingCall wait(host, [&] { host->WaitForThreads(); });
  EXPECT_EQ(host->GetNextEvent(), nullptr);
  wait.Release();
  Reply(helper.Starts()[0].request, PingReply({7}));
  EXPECT_TRUE(wait.Join());
  EXPECT_THAT(host.Drain(), SizeIs(1));
}

}  // namespace
}  // namespace test_support
