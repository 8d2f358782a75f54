// What a launcher does when it is destroyed, and waiting for its worker threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/lock_probe.h"
#include "tests/support/pipe_server.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

// Batches end at once: there is no helper program to start.
class CoreThreads : public testing::Test {
 protected:
  void StartBatch() { EXPECT_TRUE(host->PingBatch(L"batch", nullptr, 0)); }

  EnvironmentVariable directory{L"KOVLAUNCH_INSTDIR", L"C:\\no such directory"};
  StreamCapture errors;
  DllHost host{DllHost::Creation::kLater};
};

TEST_F(CoreThreads, KeepTheirHandlesUntilTheNextWait) {
  std::set<HANDLE> threads;
  std::size_t closed = 0;
  IMPORT_HOOK(CreateThread) starts(host.Module());
  starts.SetReplacement([&](auto... arguments) {
    const HANDLE thread = starts.CallOriginal(arguments...);
    threads.insert(thread);
    return thread;
  });
  IMPORT_HOOK(CloseHandle) closes(host.Module());
  closes.SetReplacement([&](HANDLE handle) {
    if (threads.contains(handle)) ++closed;
    return closes.CallOriginal(handle);
  });
  host.Create();
  StartBatch();
  ASSERT_TRUE(WaitFor(*threads.begin(), kPatienceMs));
  EXPECT_EQ(closed, 0u);
  StartBatch();
  EXPECT_THAT(threads, SizeIs(2));
  host->WaitForThreads();
  EXPECT_EQ(closed, 2u);
}

TEST_F(CoreThreads, AreWaitedForWithoutTheLock) {
  const LockProbe probe(host.Module());
  host.Create();
  StartBatch();
  const DWORD own = GetCurrentThreadId();
  const std::size_t before = probe.EnteredBy(own);
  host->WaitForThreads();
  EXPECT_EQ(probe.EnteredBy(own), before);
}

TEST(CoreDestructor, EndsTheApplicationsThenTheEventsThenTheLock) {
  DllHost host;
  const AllocationTracker events(host.Module());
  host.Post(L"s", L"unfetched");
  EXPECT_EQ(events.Outstanding(), 1u);
  std::vector<std::string> steps;
  const LineHook lines(host.Module(), [&](const std::string& line, FILE*) {
    // The name of the function that writes it.
    steps.push_back(line.substr(0, line.find(' ')));
  });
  IMPORT_HOOK(DeleteCriticalSection) deletes(host.Module());
  deletes.SetReplacement([&](CRITICAL_SECTION* section) {
    steps.emplace_back(events.Outstanding() == 0 ? "lock" : "lock before the events");
    deletes.CallOriginal(section);
  });
  host.Destroy();
  std::vector<std::string> expected(8, "BaseApp::~BaseApp:");
  expected.insert(expected.begin(), "AppLauncher::~AppLauncher:");
  expected.emplace_back("lock");
  EXPECT_EQ(steps, expected);
}

// Seven games in the order of their identifiers, which is not that of their creation. All are
// connected, so that polling them posts and destroying them closes a pipe each.
TEST(CoreApplications, ArePolledAndDestroyedInAscendingOrderOfTheirIdentifiers) {
  const StreamCapture errors;
  std::vector<std::unique_ptr<PipeServer>> games;
  for (const wchar_t* const name :
       {L"tavr", L"tamsin", L"tamsin", L"tamsin", L"brenna", L"brenna", L"solano"}) {
    games.push_back(
        std::make_unique<PipeServer>(L"\\\\.\\pipe\\" + std::wstring(name) + L"_pellmar"));
  }
  DllHost host;
  std::vector<HANDLE> opened;
  std::vector<std::string> paths;
  std::vector<HANDLE> closed;
  IMPORT_HOOK(CreateFileA) opens(host.Module());
  opens.SetReplacement([&](const char* path, auto... others) {
    paths.push_back(path);
    opened.push_back(opens.CallOriginal(path, others...));
    return opened.back();
  });
  IMPORT_HOOK(CloseHandle) closes(host.Module());
  closes.SetReplacement([&](HANDLE handle) {
    if (std::find(opened.begin(), opened.end(), handle) != opened.end()) closed.push_back(handle);
    return closes.CallOriginal(handle);
  });

  host->PollApps();
  std::vector<std::wstring> ready;
  for (const Event& event : host.Drain()) {
    EXPECT_EQ(event.arg[0], L"READY");
    ready.push_back(event.source);
  }
  EXPECT_THAT(ready,
              ElementsAre(L"BRENNA-CTE-GAME", L"BRENNA-GAME", L"SOLANO-GAME", L"TAMSIN-BETA2-GAME",
                          L"TAMSIN-CTE-GAME", L"TAMSIN-MAINLINE-GAME", L"TAVR-GAME"));
  EXPECT_THAT(paths, ElementsAre("\\\\.\\pipe\\brenna_pellmar", "\\\\.\\pipe\\brenna_pellmar",
                                 "\\\\.\\pipe\\solano_pellmar", "\\\\.\\pipe\\tamsin_pellmar",
                                 "\\\\.\\pipe\\tamsin_pellmar", "\\\\.\\pipe\\tamsin_pellmar",
                                 "\\\\.\\pipe\\tavr_pellmar"));
  ASSERT_THAT(closed, IsEmpty());
  host.Destroy();
  EXPECT_THAT(closed, ElementsAreArray(opened));
}

}  // namespace
}  // namespace test_support
