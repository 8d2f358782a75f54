// The number of a virtual function in its table.
#ifndef LAUNCHER_TESTS_SUPPORT_SLOT_OF_H_
#define LAUNCHER_TESTS_SUPPORT_SLOT_OF_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace test_support {

/// For a pointer to a virtual member, which this compiler stores as the offset in the table plus one.
/// A virtual destructor takes two slots with it, the one that also frees being the second.
template <typename Member>
std::size_t SlotOf(Member member) {
  std::uintptr_t encoded = 0;
  static_assert(sizeof(member) >= sizeof(encoded));
  std::memcpy(&encoded, &member, sizeof(encoded));
  return (encoded - 1) / sizeof(void*);
}

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_SLOT_OF_H_
