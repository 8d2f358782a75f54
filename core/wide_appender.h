// Appends texts and decimal numbers to a wide text: all that the JSON writers need, at a fraction of a
// stream's cost and size.
#ifndef LAUNCHER_CORE_WIDE_APPENDER_H_
#define LAUNCHER_CORE_WIDE_APPENDER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace launcher {

/// Writes into memory that is known to be large enough. Numbers are written in decimal, small ones too,
/// never as characters.
class WideWriter {
 public:
  /// Characters of the largest number.
  static constexpr std::size_t kMaxDigits = 20;

  explicit WideWriter(wchar_t* begin) : end(begin) {}

  wchar_t* End() const { return end; }

  /// A literal. Copied in blocks of a fixed size, which compilers turn into a few moves; left to
  /// themselves they start a string instruction, which takes longer than these short texts.
  template <std::size_t Size>
  WideWriter& operator<<(const wchar_t (&literal)[Size]) {
    constexpr std::size_t kLength = Size - 1;
    if constexpr (kLength >= kBlock) {
      for (std::size_t i = 0; i + kBlock <= kLength; i += kBlock) CopyBlock(literal + i, end + i);
      CopyBlock(literal + kLength - kBlock, end + kLength - kBlock);
    } else {
      std::copy(literal, literal + kLength, end);
    }
    end += kLength;
    return *this;
  }

  WideWriter& operator<<(std::wstring_view text) {
    end = std::copy(text.begin(), text.end(), end);
    return *this;
  }

  WideWriter& operator<<(std::uint64_t number) {
    // Nearly all numbers fit 32 bits, which divide several times faster.
    if (number <= UINT32_MAX) {
      const auto small = static_cast<std::uint32_t>(number);
      PutDigits(small, CountDigits(small));
    } else {
      *this << number / kGroup;
      PutDigits(static_cast<std::uint32_t>(number % kGroup), kGroupDigits);
    }
    return *this;
  }

 private:
  static constexpr std::size_t kBlock = 8;

  static void CopyBlock(const wchar_t* from, wchar_t* to) {
    std::memcpy(to, from, kBlock * sizeof(wchar_t));
  }

  static constexpr std::uint64_t kGroup = 100'000'000;
  static constexpr std::size_t kGroupDigits = 8;

  static std::size_t CountDigits(std::uint32_t number) {
    std::size_t count = 1;
    for (; number >= 10; number /= 10) ++count;
    return count;
  }

  void PutDigits(std::uint32_t number, std::size_t count) {
    for (std::size_t i = count; i-- > 0; number /= 10) {
      end[i] = static_cast<wchar_t>(L'0' + number % 10);
    }
    end += count;
  }

  wchar_t* end;
};

/// A text that grows.
class WideAppender {
 public:
  /// `expectedLength` characters can be appended before memory is asked for again.
  explicit WideAppender(std::size_t expectedLength)
      : text(std::make_unique_for_overwrite<wchar_t[]>(expectedLength)),
        capacity(expectedLength) {}

  /// What was appended so far.
  std::wstring_view Text() const { return {text.get(), used}; }

  WideAppender& operator<<(std::wstring_view added);
  template <std::size_t Size>
  WideAppender& operator<<(const wchar_t (&literal)[Size]) {
    return *this << std::wstring_view(literal, Size - 1);
  }
  WideAppender& operator<<(std::uint64_t number);

  /// A writer for up to `maxLength` characters, for parts that are written often. `End` takes it back
  /// before anything else is appended.
  WideWriter Begin(std::size_t maxLength) { return WideWriter(MakeRoom(maxLength)); }
  void End(const WideWriter& writer) {
    used = static_cast<std::size_t>(writer.End() - text.get());
  }

 private:
  wchar_t* MakeRoom(std::size_t count) {
    if (capacity - used < count) Grow(count);
    return text.get() + used;
  }

  void Grow(std::size_t count);

  // Not a string: that would be filled with zeroes first, which takes as long as the writing.
  std::unique_ptr<wchar_t[]> text;
  std::size_t capacity;
  std::size_t used = 0;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_WIDE_APPENDER_H_
