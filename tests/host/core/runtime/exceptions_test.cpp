// Exceptions of the DLL, inside it and in a host that has a C++ run-time of its own, which this
// program is.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"

namespace test_support {
namespace {

// The header's own declaration carries attributes, which a template does not take.
using MallocHook = ImportHook<"malloc", void*(std::size_t)>;

// Watches what this program frees of the blocks that the DLL allocated last. Nothing in it may
// allocate: it runs inside every call of `free`.
class FreeWatch {
 public:
  FreeWatch() : redirector(GetModuleHandleW(nullptr)) {
    next = 0;
    whole = 0;
    inside = 0;
    original = reinterpret_cast<void (*)(void*)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "free")));
    redirector.Redirect("free", reinterpret_cast<void*>(&Free));
  }

  void Add(void* block, std::size_t size) {
    blocks[next++ % kBlocks] = {reinterpret_cast<std::uintptr_t>(block), size};
  }
  // The DLL has freed it by itself.
  void Remove(void* memory) {
    for (Block& block : blocks) {
      if (block.begin == reinterpret_cast<std::uintptr_t>(memory)) block = {};
    }
  }
  int FreedWhole() const { return whole; }
  int FreedInside() const { return inside; }

 private:
  struct Block {
    std::uintptr_t begin;
    std::size_t size;
  };

  static void Free(void* memory) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    for (Block& block : blocks) {
      if (address - block.begin >= block.size) continue;
      ++(address == block.begin ? whole : inside);
      block = {};
    }
    original(memory);
  }

  static constexpr std::size_t kBlocks = 64;
  static inline Block blocks[kBlocks];
  static inline std::size_t next;
  static inline std::atomic<int> whole;
  static inline std::atomic<int> inside;
  static inline void (*original)(void*);
  ImportRedirector redirector;
};

class CoreExceptions : public testing::Test {
 protected:
  CoreExceptions() : allocations(host.Module()), frees(host.Module()) {
    frees.SetReplacement([this](void* block) {
      watch.Remove(block);
      frees.CallOriginal(block);
    });
    allocations.SetReplacement([this](std::size_t size) -> void* {
      if (size >= kRefused) return nullptr;
      void* const block = allocations.CallOriginal(size);
      watch.Add(block, size);
      return block;
    });
  }

  // A batch for whose identifier there is no memory.
  void ThrowBadAlloc() { host->PingBatch(std::wstring(kRefused, L'x').c_str(), nullptr, 0); }

  // More addresses than there can be.
  void ThrowLengthError() { host->PingBatch(L"id", nullptr, ~0ULL); }

  template <typename Throw>
  static std::exception_ptr Caught(const Throw& work) {
    try {
      work();
    } catch (const std::exception&) {
      return std::current_exception();
    }
    return nullptr;
  }

  static constexpr std::size_t kRefused = 10000;

  DllHost host;
  FreeWatch watch;
  MallocHook allocations;
  ImportHook<"free", void(void*)> frees;
};

TEST_F(CoreExceptions, AreCaughtByTheirTypes) {
  EXPECT_THROW(ThrowBadAlloc(), std::bad_alloc);
  EXPECT_THROW(ThrowLengthError(), std::length_error);
}

TEST_F(CoreExceptions, AHostMayKeepThrowAgainNestAndReleaseOnAnyThread) {
  for (int i = 0; i < 20; ++i) {
    std::exception_ptr kept = Caught([&] { i % 2 == 0 ? ThrowBadAlloc() : ThrowLengthError(); });
    ASSERT_NE(kept, nullptr);
    std::exception_ptr copy = kept;
    std::thread([&] {
      const std::exception_ptr again = Caught([&] { std::rethrow_exception(copy); });
      EXPECT_EQ(again, kept);
      copy = nullptr;
    }).join();
    const std::exception_ptr nested = Caught([&] {
      try {
        std::rethrow_exception(kept);
      } catch (...) {
        std::throw_with_nested(std::runtime_error("outer"));
      }
    });
    try {
      std::rethrow_exception(nested);
    } catch (const std::nested_exception& outer) {
      EXPECT_EQ(outer.nested_ptr(), kept);
    }
  }
  EXPECT_EQ(watch.FreedWhole(), 20);
  EXPECT_EQ(watch.FreedInside(), 0);
}

TEST_F(CoreExceptions, AHostMayReleaseThemAfterItsLauncher) {
  std::exception_ptr kept = Caught([&] { ThrowBadAlloc(); });
  host.Destroy();
  EXPECT_THROW(std::rethrow_exception(kept), std::bad_alloc);
  kept = nullptr;
  EXPECT_EQ(watch.FreedWhole(), 1);
  EXPECT_EQ(watch.FreedInside(), 0);
}

// With no memory at all, not even for the exception or for what a thread needs to throw its first:
// each thread is new. Each has an application of its own, as the host's contract asks.
TEST(CoreExceptionsWithoutMemory, AreThrownOnEveryThread) {
  DllHost host;
  const std::wstring value(1000, L'x');
  std::atomic<int> refused = 0;
  std::vector<std::thread> threads;
  {
    MallocHook allocations(host.Module());
    allocations.FailAlways(nullptr);
    for (const wchar_t* const id : kAllAppIds) {
      threads.emplace_back([&, id] {
        // More often than the run-time has reserves: each is given back.
        for (int i = 0; i < 300; ++i) {
          if (!host->SetParameter(id, L"key", value.c_str())) ++refused;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(refused, 8 * 300);
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", value.c_str()));
  EXPECT_EQ(host.GetParameter(L"TAVR-GAME", L"key"), value);
}

}  // namespace
}  // namespace test_support
