// Copying of short texts without a call. Most texts here take a few dozen bytes, and for those the
// call of memcpy and its choice of a way take longer than the copying.
#ifndef LAUNCHER_CORE_SHORT_COPY_H_
#define LAUNCHER_CORE_SHORT_COPY_H_

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace launcher {

/// Copies `Size` bytes; a move or two for the sizes used below.
template <std::size_t Size>
inline void CopyFixed(const unsigned char* from, unsigned char* to) {
  std::memcpy(to, from, Size);
}

/// Copies `Size` to `2 * Size` bytes: the first and the last ones, which may overlap.
template <std::size_t Size>
inline void CopyBothEnds(const unsigned char* from, std::size_t count, unsigned char* to) {
  CopyFixed<Size>(from, to);
  CopyFixed<Size>(from + count - Size, to + count - Size);
}

/// Copies bytes between places that do not overlap.
inline void CopyShortBytes(const unsigned char* from, std::size_t count, unsigned char* to) {
  constexpr std::size_t kBlock = 16;
  constexpr std::size_t kLongest = 8 * kBlock;
  if (count > kLongest) {
    std::memcpy(to, from, count);
  } else if (count >= kBlock) {
    for (std::size_t i = 0; i + kBlock < count; i += kBlock) CopyFixed<kBlock>(from + i, to + i);
    CopyFixed<kBlock>(from + count - kBlock, to + count - kBlock);
  } else if (count >= 8) {
    CopyBothEnds<8>(from, count, to);
  } else if (count >= 4) {
    CopyBothEnds<4>(from, count, to);
  } else if (count >= 2) {
    CopyBothEnds<2>(from, count, to);
  } else if (count == 1) {
    *to = *from;
  }
}

/// Copies `count` elements, mostly few, to memory that does not overlap them. Returns the end of
/// the copy.
template <typename To, typename From>
inline To* CopyShort(const From* from, std::size_t count, To* to) {
  static_assert(sizeof(From) == sizeof(To) && std::is_trivially_copyable_v<To>);
  CopyShortBytes(reinterpret_cast<const unsigned char*>(from), count * sizeof(From),
                 reinterpret_cast<unsigned char*>(to));
  return to + count;
}

}  // namespace launcher

#endif  // LAUNCHER_CORE_SHORT_COPY_H_
