// Texts as a terminal shows them: what may reach it, how wide it gets, where a line breaks.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_TERMINAL_TEXT_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_TERMINAL_TEXT_H_

#include <string>
#include <string_view>
#include <vector>

namespace console {

/// Replaces by U+FFFD what could move the cursor, change colours or turn the direction of the text:
/// control characters, those above U+007F included, marks of direction, and bytes that are no
/// UTF-8.
std::string Printable(std::string_view text);

/// Writes the same characters as \uXXXX. For JSON, where they only occur within texts.
std::string PrintableJson(std::string_view json);

/// In columns: East Asian characters take two, combining ones none.
std::size_t DisplayWidth(std::string_view text);

/// Cut to `width` columns, with an ellipsis when something is missing.
std::string Fitted(const std::string& text, std::size_t width);

/// Breaks a line of a help text between words. Further lines begin below the description when the
/// line has one, after two blanks or more.
std::vector<std::string> Wrapped(const std::string& line, std::size_t width);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_TERMINAL_TEXT_H_
