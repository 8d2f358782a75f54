// Memory that shows every access outside of its blocks: with the environment variable
// LAUNCHER_GUARD_PAGES a test program, and each DLL that it loads, gets its blocks from here.
#ifndef LAUNCHER_TESTS_SUPPORT_GUARD_PAGES_H_
#define LAUNCHER_TESTS_SUPPORT_GUARD_PAGES_H_

#include <cstddef>

namespace test_support {

/// Blocks of which each has pages of its own, at the end of them, followed by a page that cannot be
/// accessed. A freed block cannot be accessed either, and its addresses are never used again. What
/// the page holds besides the block is filled with a pattern. Any thread.
class GuardPages {
 public:
  /// A block of at least `size` bytes, aligned to 16 and filled with a pattern; null without
  /// memory.
  static void* Allocate(std::size_t size);

  /// Frees a block; ends the program with a message when it was freed before or when the pattern
  /// around it has changed.
  static void Free(void* block);

  /// Whether the address lies in the memory of these blocks.
  static bool Owns(const void* address);

  /// The size that was asked for; 0 for a block that was freed.
  static std::size_t SizeOf(const void* block);

  /// Whether the bytes before the block and after it are as `Allocate` left them.
  static bool IsIntact(const void* block);

  /// Blocks that are not freed, and the bytes that were asked for.
  static std::size_t BlockCount();
  static std::size_t ByteCount();
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_GUARD_PAGES_H_
