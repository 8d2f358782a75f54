// Splitting of a game's command arguments into words.
#ifndef LAUNCHER_GAMEPIPE_WORDS_H_
#define LAUNCHER_GAMEPIPE_WORDS_H_

#include <string_view>
#include <vector>

namespace launcher {

/// Splits `text` at every run of characters out of `delimiters`. Delimiters at either end and runs of
/// them make no empty words; but an empty `text` makes exactly one empty word, and a `text` of
/// delimiters alone makes none. The words point into `text`.
std::vector<std::string_view> SplitString(std::string_view text, std::string_view delimiters);

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_WORDS_H_
