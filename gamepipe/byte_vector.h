// A vector of bytes that grows without filling what is written right afterwards.
#ifndef LAUNCHER_GAMEPIPE_BYTE_VECTOR_H_
#define LAUNCHER_GAMEPIPE_BYTE_VECTOR_H_

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace launcher {

/// A default-initialised allocator: `resize` adds elements without a value.
template <typename T>
struct DefaultInitAllocator : std::allocator<T> {
  template <typename Other>
  struct rebind {
    using other = DefaultInitAllocator<Other>;
  };

  void construct(T* element) noexcept { ::new (static_cast<void*>(element)) T; }
};

using ByteVector = std::vector<std::uint8_t, DefaultInitAllocator<std::uint8_t>>;

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_BYTE_VECTOR_H_
