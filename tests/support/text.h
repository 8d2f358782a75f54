// Conversions for test messages and captured logs, independent of those under test.
#ifndef LAUNCHER_TESTS_SUPPORT_TEXT_H_
#define LAUNCHER_TESTS_SUPPORT_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

/// UTF-16 to UTF-8.
std::string Narrow(std::wstring_view wide);

/// UTF-8 to UTF-16.
std::wstring Widen(std::string_view narrow);

/// `value` as "%p" and "%08x" of the Microsoft runtime write it: 16 upper-case and at least 8
/// lower-case hexadecimal digits.
std::string PointerText(const void* value);
std::string HexText(unsigned int value);

/// The lines of a text, without their line ends. A last piece without a line end counts as a line.
std::vector<std::string> Lines(std::string_view text);

/// How often `part` occurs in `text`, without overlaps.
std::size_t CountOf(std::string_view text, std::string_view part);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_TEXT_H_
