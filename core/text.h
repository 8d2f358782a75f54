// Conversions between the two text forms: UTF-16 towards the host, UTF-8 inside the library.
#ifndef LAUNCHER_CORE_TEXT_H_
#define LAUNCHER_CORE_TEXT_H_

#include <cstddef>
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
/// zero byte must follow `narrow`. Returns the length of the text, which is terminated.
std::size_t Utf8ToWide(std::string_view narrow, wchar_t* wide);

}  // namespace launcher

#endif  // LAUNCHER_CORE_TEXT_H_
