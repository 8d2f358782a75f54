#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "core/launcher/thread_list.h"
#include "tests/support/import_redirector.h"

namespace launcher {
namespace {

// Counts its instances, so that a test sees who frees it.
struct Context {
  Context() { ++alive; }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() { --alive; }

  static inline std::atomic<int> alive = 0;
};

DWORD WINAPI FreeContext(void* context) {
  delete static_cast<Context*>(context);
  return 0;
}

TEST(ThreadList, HandsTheContextToTheThread) {
  ThreadList threads;
  for (int i = 0; i < 3; ++i) threads.Start(FreeContext, std::make_unique<Context>());
  threads.WaitForAll();
  EXPECT_EQ(Context::alive, 0);
}

TEST(ThreadList, ThatIsFullThrowsAndStartsNothing) {
  ThreadList threads(2);
  threads.Start(FreeContext, std::make_unique<Context>());
  threads.Start(FreeContext, std::make_unique<Context>());
  test_support::ImportHook<"CreateThread", decltype(CreateThread)> starts(
      GetModuleHandleW(nullptr));
  std::string message;
  try {
    threads.Start(FreeContext, std::make_unique<Context>());
  } catch (const std::length_error& error) {
    message = error.what();
  }
  EXPECT_EQ(message, "list<T> too long");
  EXPECT_EQ(starts.CallCount(), 0u);
  threads.WaitForAll();
  EXPECT_EQ(Context::alive, 0);
  // The wait has made room.
  threads.Start(FreeContext, std::make_unique<Context>());
  threads.WaitForAll();
  EXPECT_EQ(starts.CallCount(), 1u);
}

TEST(ThreadList, FreesTheContextOfAThreadThatCouldNotBeStarted) {
  ThreadList threads(1);
  test_support::ImportHook<"CreateThread", decltype(CreateThread)> starts(
      GetModuleHandleW(nullptr));
  starts.FailAlways(nullptr, ERROR_NOT_ENOUGH_MEMORY);
  threads.Start(FreeContext, std::make_unique<Context>());
  EXPECT_EQ(Context::alive, 0);
  // It counts like any other.
  EXPECT_THROW(threads.Start(FreeContext, std::make_unique<Context>()), std::length_error);
  threads.WaitForAll();
}

}  // namespace
}  // namespace launcher
