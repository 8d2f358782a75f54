#include "tests/support/allocation_tracker.h"

#include <cstdlib>

namespace test_support {
namespace {

AllocationTracker* active = nullptr;

}  // namespace

AllocationTracker::AllocationTracker(HMODULE module) : redirector(module) {
  active = this;
  redirector.Redirect("malloc", reinterpret_cast<void*>(&Malloc));
  redirector.Redirect("calloc", reinterpret_cast<void*>(&Calloc));
  redirector.Redirect("realloc", reinterpret_cast<void*>(&Realloc));
  redirector.Redirect("free", reinterpret_cast<void*>(&FreeEntry));
}

AllocationTracker::~AllocationTracker() = default;

std::size_t AllocationTracker::Outstanding() const {
  const std::lock_guard guard(mutex);
  return blocks.size();
}

bool AllocationTracker::IsOutstanding(const void* block) const {
  const std::lock_guard guard(mutex);
  return blocks.contains(block);
}

std::size_t AllocationTracker::Count() const {
  const std::lock_guard guard(mutex);
  return count;
}

void AllocationTracker::FailOne(std::size_t number) {
  const std::lock_guard guard(mutex);
  count = 0;
  failing = number;
}

void AllocationTracker::FailNone() {
  const std::lock_guard guard(mutex);
  count = 0;
  failing.reset();
}

void AllocationTracker::Free(void* block) { FreeEntry(block); }

bool AllocationTracker::Fails() {
  const std::lock_guard guard(mutex);
  return failing == count++;
}

void* AllocationTracker::Added(void* block) {
  const std::lock_guard guard(mutex);
  if (block != nullptr) blocks.insert(block);
  return block;
}

void* AllocationTracker::Malloc(std::size_t size) {
  return active->Fails() ? nullptr : active->Added(std::malloc(size));
}

void* AllocationTracker::Calloc(std::size_t count, std::size_t size) {
  return active->Fails() ? nullptr : active->Added(std::calloc(count, size));
}

void* AllocationTracker::Realloc(void* block, std::size_t size) {
  if (active->Fails()) return nullptr;
  const std::lock_guard guard(active->mutex);
  void* const moved = std::realloc(block, size);
  if (moved == nullptr) return nullptr;
  active->blocks.erase(block);
  active->blocks.insert(moved);
  return moved;
}

void AllocationTracker::FreeEntry(void* block) {
  {
    const std::lock_guard guard(active->mutex);
    active->blocks.erase(block);
  }
  std::free(block);
}

}  // namespace test_support
