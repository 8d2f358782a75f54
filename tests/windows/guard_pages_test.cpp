// The memory of the guard-page runs itself: it must notice what it is for.
#include "tests/support/guard_pages.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/scoped_handle.h"

namespace {

using test_support::GuardPages;

bool IsAccessible(const void* address) {
  MEMORY_BASIC_INFORMATION page;
  return VirtualQuery(address, &page, sizeof(page)) == sizeof(page) && page.State == MEM_COMMIT;
}

TEST(GuardPages, ABlockEndsWhereAnInaccessiblePageBegins) {
  for (const std::size_t size : {16u, 4096u, 4112u, 100000u}) {
    auto* const block = static_cast<char*>(GuardPages::Allocate(size));
    ASSERT_NE(nullptr, block);
    const std::size_t rounded = (size + 15) / 16 * 16;
    EXPECT_TRUE(IsAccessible(block + rounded - 1)) << size;
    EXPECT_FALSE(IsAccessible(block + rounded)) << size;
    GuardPages::Free(block);
  }
}

TEST(GuardPages, AFreedBlockIsInaccessible) {
  void* const block = GuardPages::Allocate(24);
  EXPECT_TRUE(IsAccessible(block));
  GuardPages::Free(block);
  EXPECT_FALSE(IsAccessible(block));
  EXPECT_EQ(0u, GuardPages::SizeOf(block));
}

TEST(GuardPages, AddressesAreNotUsedAgain) {
  void* const first = GuardPages::Allocate(24);
  GuardPages::Free(first);
  void* const second = GuardPages::Allocate(24);
  EXPECT_NE(first, second);
  GuardPages::Free(second);
}

TEST(GuardPages, BlocksAreAlignedAndDistinct) {
  void* const empty = GuardPages::Allocate(0);
  void* const odd = GuardPages::Allocate(7);
  EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(empty) % 16);
  EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(odd) % 16);
  EXPECT_NE(empty, odd);
  GuardPages::Free(odd);
  GuardPages::Free(empty);
}

// The alignment leaves up to fifteen bytes after a block in its last page.
TEST(GuardPages, AByteWrittenAfterABlockIsNoticed) {
  auto* const block = static_cast<char*>(GuardPages::Allocate(7));
  EXPECT_TRUE(GuardPages::IsIntact(block));
  const char before = block[7];
  block[7] = 'x';
  EXPECT_FALSE(GuardPages::IsIntact(block));
  block[7] = before;
  GuardPages::Free(block);
}

TEST(GuardPages, AByteWrittenBeforeABlockIsNoticed) {
  auto* const block = static_cast<char*>(GuardPages::Allocate(7));
  const char before = block[-1];
  block[-1] = 'x';
  EXPECT_FALSE(GuardPages::IsIntact(block));
  block[-1] = before;
  GuardPages::Free(block);
}

TEST(GuardPages, CountsWhatIsNotFreed) {
  const std::size_t blocks = GuardPages::BlockCount();
  const std::size_t bytes = GuardPages::ByteCount();
  void* const block = GuardPages::Allocate(5000);
  EXPECT_EQ(blocks + 1, GuardPages::BlockCount());
  EXPECT_EQ(bytes + 5000, GuardPages::ByteCount());
  GuardPages::Free(block);
  EXPECT_EQ(blocks, GuardPages::BlockCount());
  EXPECT_EQ(bytes, GuardPages::ByteCount());
}

TEST(GuardPages, KnowsItsOwnBlocks) {
  int local = 0;
  void* const block = GuardPages::Allocate(1);
  EXPECT_TRUE(GuardPages::Owns(block));
  EXPECT_FALSE(GuardPages::Owns(&local));
  GuardPages::Free(block);
}

}  // namespace
