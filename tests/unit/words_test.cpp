#include "gamepipe/words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace launcher {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SplitString, SplitsAtEachDelimiter) {
  EXPECT_THAT(SplitString("a b c", " "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(SplitString("first second", " "), ElementsAre("first", "second"));
}

TEST(SplitString, KeepsATextWithoutDelimitersWhole) {
  EXPECT_THAT(SplitString("word", " "), ElementsAre("word"));
  EXPECT_THAT(SplitString("w", " "), ElementsAre("w"));
}

TEST(SplitString, RunsOfDelimitersMakeNoWords) {
  EXPECT_THAT(SplitString("a,,b,", ","), ElementsAre("a", "b"));
  EXPECT_THAT(SplitString("a  b c", " "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(SplitString("a     b", " "), ElementsAre("a", "b"));
}

TEST(SplitString, DelimitersAtEitherEndMakeNoWords) {
  EXPECT_THAT(SplitString(" a", " "), ElementsAre("a"));
  EXPECT_THAT(SplitString("a ", " "), ElementsAre("a"));
  EXPECT_THAT(SplitString("   a b   ", " "), ElementsAre("a", "b"));
}

TEST(SplitString, AnEmptyTextIsOneEmptyWord) {
  EXPECT_THAT(SplitString("", " "), ElementsAre(""));
  EXPECT_THAT(SplitString("", ""), ElementsAre(""));
}

TEST(SplitString, ATextOfDelimitersAloneHasNoWords) {
  EXPECT_THAT(SplitString(" ", " "), IsEmpty());
  EXPECT_THAT(SplitString("     ", " "), IsEmpty());
  EXPECT_THAT(SplitString(",;,", ";,"), IsEmpty());
}

TEST(SplitString, EveryCharacterOfTheSetDelimits) {
  EXPECT_THAT(SplitString("a,b;c d", ",; "), ElementsAre("a", "b", "c", "d"));
  // A set, not a sequence.
  EXPECT_THAT(SplitString("a,b", ",;"), ElementsAre("a", "b"));
}

TEST(SplitString, OtherWhiteSpaceBelongsToTheWord) {
  EXPECT_THAT(SplitString("a\tb\nc d", " "), ElementsAre("a\tb\nc", "d"));
}

TEST(SplitString, WithoutDelimitersNothingIsSplit) {
  EXPECT_THAT(SplitString("a b", ""), ElementsAre("a b"));
}

TEST(SplitString, TakesAnyBytes) {
  EXPECT_THAT(SplitString("\xC3\xA4 \xFF \xF0\x9F\x8E\xAE", " "),
              ElementsAre("\xC3\xA4", "\xFF", "\xF0\x9F\x8E\xAE"));
  const std::string withZero("a\0b c", 5);
  EXPECT_THAT(SplitString(withZero, " "), ElementsAre(std::string_view("a\0b", 3), "c"));
}

TEST(SplitString, ManyWords) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "ab ";
  const std::vector<std::string_view> words = SplitString(text, " ");
  ASSERT_EQ(words.size(), 5000U);
  EXPECT_EQ(words.front(), "ab");
  EXPECT_EQ(words.back(), "ab");
}

}  // namespace
}  // namespace launcher
