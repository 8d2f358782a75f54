// Conversions between the two text forms: UTF-16 towards the host, UTF-8 inside the library.
#ifndef LAUNCHER_CORE_TEXT_H_
#define LAUNCHER_CORE_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace launcher {

/// Converts UTF-16 to UTF-8. An unpaired surrogate becomes U+FFFD; an embedded zero ends the text.
std::string WideToUtf8(const std::wstring& wide);

/// Converts UTF-8 to UTF-16. Invalid bytes become U+FFFD; an embedded zero ends the text.
std::wstring Utf8ToWide(const std::string& narrow);

/// What a text of `narrowSize` bytes may need when it is converted, terminator and spare included.
constexpr std::size_t WideCapacity(std::size_t narrowSize) { return narrowSize + 2; }

/// As `Utf8ToWide`, but into memory of the caller's, `WideCapacity(narrow.size())` characters. A
/// zero byte must stand behind `narrow`. Returns the length of the text, which is terminated.
std::size_t Utf8ToWide(std::string_view narrow, wchar_t* wide);

/// Converts the ASCII characters that `narrow` begins with, up to the first byte that is something
/// else or zero, and writes no terminator. Returns their number. Texts are ASCII nearly always, and
/// the system's conversion takes several times as long to set out as this takes for a name.
inline std::size_t WidenAscii(std::string_view narrow, wchar_t* wide) {
  constexpr std::size_t kBlock = 8;
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t done = 0;
  for (; narrow.size() - done >= kBlock; done += kBlock) {
    std::uint64_t block;
    std::memcpy(&block, narrow.data() + done, kBlock);
    // A byte that is zero borrows and gets its high bit set.
    if (((block | (block - kOnes)) & kHighBits) != 0) break;
    unsigned char bytes[kBlock];
    std::memcpy(bytes, &block, kBlock);
    for (std::size_t i = 0; i < kBlock; ++i) wide[done + i] = bytes[i];
  }
  for (; done < narrow.size() && static_cast<signed char>(narrow[done]) > 0; ++done) {
    wide[done] = static_cast<wchar_t>(narrow[done]);
  }
  return done;
}

}  // namespace launcher

#endif  // LAUNCHER_CORE_TEXT_H_
