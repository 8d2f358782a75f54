// "Did you mean ...?"
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SUGGESTION_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SUGGESTION_H_

#include <string>
#include <string_view>
#include <vector>

namespace console {

/// Ignores the case of ASCII letters.
bool SameIgnoringCase(std::string_view left, std::string_view right);

/// The known word that differs least, ignoring case; empty when none is near.
std::string Nearest(std::string_view word, const std::vector<std::string>& known);

/// "; did you mean 'probeMethod'?", or an empty text.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& known);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SUGGESTION_H_
