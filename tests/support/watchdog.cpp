// Ends a test program in which one test takes too long, so that a worker that never ends costs
// seconds and is named.
#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

#include "tests/support/scoped_handle.h"

namespace test_support {
namespace {

constexpr DWORD kTestLimitMs = 60000;
constexpr UINT kExitCode = 99;

class Watchdog : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo& test) override {
    ended = MakeManualResetEvent();
    const ScopedHandle running = MakeManualResetEvent();
    watcher = std::thread([this, &test, &running] {
      SetEvent(running.Get());
      if (WaitFor(ended.Get(), kTestLimitMs)) return;
      std::printf("%s.%s did not end in time\n", test.test_suite_name(), test.name());
      std::fflush(stdout);
      TerminateProcess(GetCurrentProcess(), kExitCode);
    });
    // A thread takes memory when it starts, which must not fall into a test that counts memory.
    WaitFor(running.Get(), INFINITE);
  }

  void OnTestEnd(const testing::TestInfo&) override {
    SetEvent(ended.Get());
    watcher.join();
  }

 private:
  ScopedHandle ended;
  std::thread watcher;
};

// Test programs have GoogleTest's main(), so the listener is added before it begins.
[[maybe_unused]] const bool isInstalled = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new Watchdog);
  return true;
}();

}  // namespace
}  // namespace test_support
