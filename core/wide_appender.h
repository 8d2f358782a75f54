// Appends texts and decimal numbers to a wide string: all that the JSON writers need, at a fraction of
// a stream's cost and size.
#ifndef LAUNCHER_CORE_WIDE_APPENDER_H_
#define LAUNCHER_CORE_WIDE_APPENDER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace launcher {

class WideAppender {
 public:
  /// `expectedLength` characters can be appended before memory is asked for again.
  explicit WideAppender(std::size_t expectedLength) { text.reserve(expectedLength); }

  WideAppender& operator<<(std::wstring_view added) {
    text.append(added);
    return *this;
  }

  /// Small numbers too are written as numbers, never as characters.
  WideAppender& operator<<(std::uint64_t number) {
    wchar_t digits[kMaxDigits];
    wchar_t* const end = digits + kMaxDigits;
    wchar_t* begin = end;
    do {
      *--begin = static_cast<wchar_t>(L'0' + number % 10);
      number /= 10;
    } while (number != 0);
    text.append(begin, static_cast<std::size_t>(end - begin));
    return *this;
  }

  std::wstring Take() { return std::move(text); }

 private:
  // Of the largest 64-bit number.
  static constexpr std::size_t kMaxDigits = 20;

  std::wstring text;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_WIDE_APPENDER_H_
