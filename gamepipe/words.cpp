#include "gamepipe/words.h"

#include <cstddef>

namespace launcher {
namespace {

// Commands have a handful of words, and growing to that costs as many requests for memory.
constexpr std::size_t kUsualCount = 8;

}  // namespace

std::vector<std::string_view> SplitString(std::string_view text, std::string_view delimiters) {
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
