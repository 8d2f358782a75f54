// Puts texts and decimal numbers together to a wide text: all that the JSON writers need, at a
// fraction of a stream's cost and size.
#ifndef LAUNCHER_CORE_WIDE_WRITER_H_
#define LAUNCHER_CORE_WIDE_WRITER_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace launcher {

/// Works as snprintf does: writes what fits and counts everything. A text that did not fit, or for
/// which there was no memory yet, is written once more into memory of its length.
class WideWriter {
 public:
  /// Counts only.
  WideWriter() = default;
  WideWriter(wchar_t* memory, std::size_t size) : begin(memory), capacity(size) {}

  /// Of everything so far, whether it fitted or not.
  std::size_t Length() const { return length; }

  WideWriter& operator<<(std::wstring_view text) { return Append(text); }
  /// A literal, whose length the compiler knows.
  template <std::size_t Size>
  WideWriter& operator<<(const wchar_t (&literal)[Size]) {
    return Append(std::wstring_view(literal, Size - 1));
  }
  /// In decimal, small numbers too: never as a character.
  WideWriter& operator<<(std::uint64_t number) {
    std::size_t digits = 1;
    for (std::uint64_t rest = number; rest >= 10; rest /= 10) ++digits;
    length += digits;
    if (length <= capacity) {
      for (wchar_t* digit = begin + length; digits > 0; --digits, number /= 10) {
        *--digit = static_cast<wchar_t>(L'0' + number % 10);
      }
    }
    return *this;
  }

 private:
  template <typename Text>
  WideWriter& Append(Text text) {
    if (length + text.size() <= capacity) std::copy(text.begin(), text.end(), begin + length);
    length += text.size();
    return *this;
  }

  wchar_t* begin = nullptr;
  std::size_t capacity = 0;
  std::size_t length = 0;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_WIDE_WRITER_H_
