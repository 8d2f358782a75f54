// Exceptions inside the DLL when there is no memory at all, not even for the exception.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"

namespace test_support {
namespace {

// The header's own declaration carries attributes, which a template does not take.
using MallocHook = ImportHook<"malloc", void*(std::size_t)>;

TEST(CoreExceptionMemory, IsThereWithoutAnyMemory) {
  DllHost host;
  const std::wstring value(1000, L'x');
  int refused = 0;
  {
    MallocHook allocations(host.Module());
    allocations.FailAlways(nullptr);
    // More often than there are reserves: each is given back.
    for (int i = 0; i < 1000; ++i) {
      if (!host->SetParameter(L"TAVR-GAME", L"key", value.c_str())) ++refused;
    }
  }
  EXPECT_EQ(refused, 1000);
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", value.c_str()));
  EXPECT_EQ(host.GetParameter(L"TAVR-GAME", L"key"), value);
}

// Each thread has an application of its own, as the host's contract asks.
TEST(CoreExceptionMemory, IsSharedByThreads) {
  DllHost host;
  const std::wstring value(1000, L'x');
  std::atomic<int> refused = 0;
  {
    MallocHook allocations(host.Module());
    allocations.FailAlways(nullptr);
    std::vector<std::thread> threads;
    for (const wchar_t* const id : kAllAppIds) {
      threads.emplace_back([&, id] {
        for (int i = 0; i < 200; ++i) {
          if (!host->SetParameter(id, L"key", value.c_str())) ++refused;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(refused, 8 * 200);
}

}  // namespace
}  // namespace test_support
