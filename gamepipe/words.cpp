#include "gamepipe/words.h"

#include <cstddef>

namespace launcher {

std::vector<std::string_view> SplitString(std::string_view text, std::string_view delimiters) {
  // As many as an event takes: games seldom send more, and growing costs more than the words do.
  constexpr std::size_t kUsualCount = 8;
  std::vector<std::string_view> words;
  words.reserve(kUsualCount);
  std::size_t position = 0;
  // The test for the end comes last, which is why an empty text makes one empty word: games send
  // commands without arguments, and hosts then find an empty first argument.
  do {
    const std::size_t delimiter = text.find_first_of(delimiters, position);
    if (delimiter != position) words.push_back(text.substr(position, delimiter - position));
    position = text.find_first_not_of(delimiters, delimiter);
  } while (position != std::string_view::npos);
  return words;
}

}  // namespace launcher
