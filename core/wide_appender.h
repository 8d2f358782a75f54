// Appends texts and decimal numbers to a wide text: all that the JSON writers need, at a fraction
// of a stream's cost and size.
#ifndef LAUNCHER_CORE_WIDE_APPENDER_H_
#define LAUNCHER_CORE_WIDE_APPENDER_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/short_copy.h"

namespace launcher {

/// Writes into memory that is known to be large enough. Numbers are written in decimal, small ones
/// too, never as characters.
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
    end = CopyShort(text.data(), text.size(), end);
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

  // By comparison: a division takes as long as several of them, and most numbers are small.
  static std::size_t CountDigits(std::uint32_t number) {
    std::size_t count = 1;
    for (std::uint64_t bound = 10; number >= bound; bound *= 10) ++count;
    return count;
  }

  static constexpr std::uint32_t kPair = 100;

  // "00" to "99", one behind the other.
  static constexpr auto kPairs = [] {
    std::array<wchar_t, std::size_t{2}* kPair> pairs = {};
    for (std::size_t i = 0; i < kPair; ++i) {
      pairs[2 * i] = static_cast<wchar_t>(L'0' + i / 10);
      pairs[2 * i + 1] = static_cast<wchar_t>(L'0' + i % 10);
    }
    return pairs;
  }();

  // Two digits for each division.
  void PutDigits(std::uint32_t number, std::size_t count) {
    wchar_t* const first = end;
    end += count;
    wchar_t* cursor = end;
    for (; cursor - first >= 2; number /= kPair) {
      cursor -= 2;
      std::memcpy(cursor, &kPairs[std::size_t{2} * (number % kPair)], 2 * sizeof(wchar_t));
    }
    if (cursor != first) *first = static_cast<wchar_t>(L'0' + number);
  }

  wchar_t* end;
};

/// A finished text and its memory.
class WideText {
 public:
  WideText(std::unique_ptr<wchar_t[]> terminatedText, std::size_t textLength)
      : memory(std::move(terminatedText)), length(textLength) {}

  std::wstring_view View() const { return {memory.get(), length}; }
  /// With a terminator.
  const wchar_t* c_str() const { return memory.get(); }

  // Implicit: whoever wants a string of its own names one.
  // NOLINTNEXTLINE(google-explicit-constructor)
  operator std::wstring() const { return std::wstring(View()); }
  friend bool operator==(const WideText& left, std::wstring_view right) {
    return left.View() == right;
  }
  friend bool operator==(const WideText& left, const WideText& right) {
    return left.View() == right.View();
  }

 private:
  std::unique_ptr<wchar_t[]> memory;
  std::size_t length;
};

/// A text that grows.
class WideAppender {
 public:
  /// `expectedLength` characters can be appended before memory is asked for again.
  explicit WideAppender(std::size_t expectedLength)
      : text(Allocate(expectedLength)), capacity(expectedLength) {}

  /// What was appended so far.
  std::wstring_view Text() const { return {text.get(), used}; }

  /// Hands over what was appended, memory and all. The appender must not be used any more.
  WideText Finish() {
    text[used] = L'\0';
    return {std::move(text), used};
  }

  WideAppender& operator<<(std::wstring_view added);
  template <std::size_t Size>
  WideAppender& operator<<(const wchar_t (&literal)[Size]) {
    return *this << std::wstring_view(literal, Size - 1);
  }
  WideAppender& operator<<(std::uint64_t number);

  /// A writer for up to `maxLength` characters, for parts that are written often. `End` takes it
  /// back before anything else is appended.
  WideWriter Begin(std::size_t maxLength) { return WideWriter(MakeRoom(maxLength)); }
  void End(const WideWriter& writer) { used = static_cast<std::size_t>(writer.End() - text.get()); }

 private:
  wchar_t* MakeRoom(std::size_t count) {
    if (capacity - used < count) Grow(count);
    return text.get() + used;
  }

  void Grow(std::size_t count);

  // One more than asked for: the terminator's.
  static std::unique_ptr<wchar_t[]> Allocate(std::size_t characters) {
    return std::make_unique_for_overwrite<wchar_t[]>(characters + 1);
  }

  // Not a string: that would be filled with zeroes first, which takes as long as the writing, or be
  // copied once more in the end.
  std::unique_ptr<wchar_t[]> text;
  std::size_t capacity;
  std::size_t used = 0;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_WIDE_APPENDER_H_
