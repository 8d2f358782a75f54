// Conversions between the two text forms: UTF-16 towards the host, UTF-8 inside the library.
#ifndef LAUNCHER_CORE_TEXT_H_
#define LAUNCHER_CORE_TEXT_H_

#include <string>
#include <string_view>

namespace launcher {

/// Converts UTF-16 to UTF-8. An unpaired surrogate becomes U+FFFD; an embedded zero ends the text.
std::string WideToUtf8(const std::wstring& wide);

/// Converts UTF-8 to UTF-16. Invalid bytes become U+FFFD; an embedded zero ends the text.
std::wstring Utf8ToWide(const std::string& narrow);

/// As `Utf8ToWide`, but appends to `wide`. `narrow` must be followed by a zero byte in memory.
void AppendUtf8ToWide(std::string_view narrow, std::wstring& wide);

}  // namespace launcher

#endif  // LAUNCHER_CORE_TEXT_H_
