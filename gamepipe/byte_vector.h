// A vector of bytes that grows without being filled: for buffers that are written right afterwards,
// by the library or by the system. Filling a frame's or a read's worth of memory with zeroes first
// takes about as long as writing what belongs there.
#ifndef LAUNCHER_GAMEPIPE_BYTE_VECTOR_H_
#define LAUNCHER_GAMEPIPE_BYTE_VECTOR_H_

#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace launcher {

/// An allocator whose elements have no value until they are given one.
template <typename T>
class UnfilledAllocator : public std::allocator<T> {
 public:
  template <typename Other>
  struct rebind {
    using other = UnfilledAllocator<Other>;
  };

  UnfilledAllocator() = default;
  template <typename Other>
  explicit UnfilledAllocator(const UnfilledAllocator<Other>& /*other*/) noexcept {}

  template <typename Element>
  void construct(Element* element) noexcept {
    ::new (static_cast<void*>(element)) Element;
  }
  template <typename Element, typename... Arguments>
  void construct(Element* element, Arguments&&... arguments) {
    ::new (static_cast<void*>(element)) Element(std::forward<Arguments>(arguments)...);
  }
};

/// `resize` adds bytes of no particular value. Not for inserting ranges: with an allocator of its
/// own the C++ library copies byte by byte.
using ByteVector = std::vector<std::uint8_t, UnfilledAllocator<std::uint8_t>>;

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_BYTE_VECTOR_H_
