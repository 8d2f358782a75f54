#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "core/text.h"
#include "tests/support/import_redirector.h"

namespace launcher {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsNull;

// Letters of one to four bytes, the last one outside the basic plane.
constexpr wchar_t kWide[] = L"a\u00E9\u20AC\U0001F600z";
constexpr char kNarrow[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";

TEST(WideToUtf8, EncodesEveryLengthOfSequence) {
  EXPECT_EQ(WideToUtf8(kWide), kNarrow);
  EXPECT_EQ(WideToUtf8(L"\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(Utf8ToWide, DecodesEveryLengthOfSequence) {
  EXPECT_EQ(Utf8ToWide(kNarrow), kWide);
  EXPECT_EQ(Utf8ToWide("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), L"\U00010000\U0010FFFF");
}

TEST(TextConversions, GiveBackWhatTheyWereGiven) {
  // Every code point of the basic plane but the surrogates, and some beyond.
  std::wstring text;
  for (unsigned int unit = 1; unit < 0x10000; ++unit) {
    if (unit < 0xD800 || unit > 0xDFFF) text += static_cast<wchar_t>(unit);
  }
  text += L"\U00010000\U0001F600\U000E0100\U0010FFFF";
  EXPECT_EQ(Utf8ToWide(WideToUtf8(text)), text);
}

TEST(TextConversions, KeepEmptyTextsEmpty) {
  EXPECT_EQ(WideToUtf8(L""), "");
  EXPECT_EQ(Utf8ToWide(""), L"");
}

TEST(TextConversions, StopAtAnEmbeddedZero) {
  EXPECT_EQ(WideToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
  EXPECT_EQ(Utf8ToWide(std::string("ab\0cd", 5)), L"ab");
  EXPECT_EQ(WideToUtf8(std::wstring(1, L'\0')), "");
  EXPECT_EQ(Utf8ToWide(std::string(1, '\0')), L"");
}

TEST(TextConversions, TakeLongTexts) {
  std::wstring wide;
  std::string narrow;
  for (int i = 0; i < 100000; ++i) {
    wide += L'\u20AC';
    narrow += "\xE2\x82\xAC";
  }
  EXPECT_EQ(WideToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToWide(narrow), wide);
}

// Without the flag for which Windows would refuse it; Wine pays no heed to that one.
TEST(WideToUtf8, ReplacesAnUnpairedSurrogate) {
  IMPORT_HOOK(WideCharToMultiByte) conversions(GetModuleHandleW(nullptr));
  EXPECT_EQ(WideToUtf8(L"a\xD800z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(WideToUtf8(L"a\xDC00z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(WideToUtf8(L"a\xD800"), "a\xEF\xBF\xBD");
  for (const auto& call : conversions.Calls()) EXPECT_EQ(std::get<1>(call), 0U);
}

TEST(Utf8ToWide, ReplacesInvalidBytesAndKeepsTheRest) {
  EXPECT_EQ(Utf8ToWide("a\xFFz"), L"a\uFFFDz");
  EXPECT_EQ(Utf8ToWide("a\x80z"), L"a\uFFFDz");
}

// The text ends in the middle of a sequence: nothing after it may be read.
TEST(Utf8ToWide, IsSafeForACutSequenceAtTheEnd) {
  for (const char* const text : {"ab\xC3", "ab\xE2\x82", "ab\xF0\x9F\x98"}) {
    const std::wstring wide = Utf8ToWide(text);
    EXPECT_EQ(wide.substr(0, 2), L"ab") << text;
    EXPECT_LE(wide.size(), 5u) << text;
    for (const wchar_t unit : wide.substr(2)) EXPECT_EQ(unit, 0xFFFD) << text;
  }
}

// The terminator is converted with the text; there is room for eight bytes a unit and one more.
TEST(WideToUtf8, AsksTheSystemOnceWithoutFlagsAndWithoutADefaultCharacter) {
  IMPORT_HOOK(WideCharToMultiByte) conversions(GetModuleHandleW(nullptr));
  EXPECT_EQ(WideToUtf8(L"abc"), "abc");
  EXPECT_THAT(conversions.Calls(),
              ElementsAre(FieldsAre(65001u, 0u, _, 4, _, 25, IsNull(), IsNull())));
}

// The terminator is converted with the text; there is room for two characters more than bytes.
TEST(Utf8ToWide, AsksTheSystemOnceWithoutFlags) {
  IMPORT_HOOK(MultiByteToWideChar) conversions(GetModuleHandleW(nullptr));
  EXPECT_EQ(Utf8ToWide("abc"), L"abc");
  wchar_t memory[5];
  EXPECT_EQ(Utf8ToWide("abc", memory), 3u);
  const auto expected = FieldsAre(65001u, 0u, _, 4, _, 5);
  EXPECT_THAT(conversions.Calls(), ElementsAre(expected, expected));
}

TEST(Utf8ToWideInPlace, WritesTheTextAndItsTerminatorAndReturnsTheLength) {
  const std::string narrow = kNarrow;
  std::wstring memory(WideCapacity(narrow.size()) + 1, L'#');
  const std::size_t length = Utf8ToWide(narrow, memory.data());
  EXPECT_EQ(length, 6u);
  EXPECT_EQ(memory.substr(0, length), kWide);
  EXPECT_EQ(memory[length], L'\0');
  // Beyond the memory that was asked for nothing is touched.
  EXPECT_EQ(memory.back(), L'#');
}

}  // namespace
}  // namespace launcher
