#include "gamepipe/words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace launcher {
namespace {

using namespace std::string_view_literals;

struct Split {
  std::string_view text;
  std::string_view delimiters;
  std::vector<std::string_view> words;
};

const Split kSplits[] = {
    {"a b c", " ", {"a", "b", "c"}},
    {"word", " ", {"word"}},
    {"a,,b,", ",", {"a", "b"}},
    {"   a     b   ", " ", {"a", "b"}},
    // An empty text is one empty word, delimiters alone are none.
    {"", " ", {""}},
    {"", "", {""}},
    {" ", " ", {}},
    {",;,", ";,", {}},
    // A set of characters, not a sequence.
    {"a,b;c d", ",; ", {"a", "b", "c", "d"}},
    {"a,b", ",;", {"a", "b"}},
    {"a b", "", {"a b"}},
    {"a\tb\nc d", " ", {"a\tb\nc", "d"}},
    {"\xC3\xA4 \xFF a\0b c"sv, " ", {"\xC3\xA4", "\xFF", "a\0b"sv, "c"}},
};

TEST(SplitString, Words) {
  for (const Split& split : kSplits) {
    EXPECT_EQ(SplitString(split.text, split.delimiters), split.words) << split.text;
  }
}

}  // namespace
}  // namespace launcher
