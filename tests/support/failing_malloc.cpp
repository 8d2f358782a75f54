#include "tests/support/failing_malloc.h"

#include <atomic>

namespace test_support {
namespace {

// Nothing here may allocate: the redirected function runs inside every allocation.
std::atomic<bool> active = false;
std::atomic<std::size_t> failingSize = 0;
std::atomic<std::size_t> failed = 0;
void* (*original)(std::size_t) = nullptr;

void* Malloc(std::size_t size) {
  if (!active || (failingSize != FailingMalloc::kAnySize && failingSize != size)) {
    return original(size);
  }
  ++failed;
  return nullptr;
}

}  // namespace

FailingMalloc::FailingMalloc(std::size_t size) : redirector(GetModuleHandleW(nullptr)) {
  failed = 0;
  failingSize = size;
  // The original first: redirecting allocates.
  original = reinterpret_cast<void* (*)(std::size_t)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
  original = reinterpret_cast<void* (*)(std::size_t)>(
      redirector.Redirect("malloc", reinterpret_cast<void*>(Malloc)));
  active = true;
}

FailingMalloc::~FailingMalloc() { active = false; }

std::size_t FailingMalloc::Count() const { return failed; }

}  // namespace test_support
