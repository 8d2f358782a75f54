#include "core/wide_appender.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace launcher {
namespace {

std::wstring Written(std::uint64_t number) {
  WideAppender appender(0);
  appender << number;
  return std::wstring(appender.Text());
}

TEST(WideAppender, Nothing) { EXPECT_EQ(WideAppender(0).Text(), L""); }

TEST(WideAppender, AsksForMemoryAgainOnlyForMoreThanExpected) {
  WideAppender appender(8);
  const wchar_t* const memory = appender.Text().data();
  appender << L"12345678";
  EXPECT_EQ(appender.Text().data(), memory);
  appender << L"9";
  EXPECT_EQ(appender.Text(), L"123456789");
}

TEST(WideAppender, SmallNumbers) {
  EXPECT_EQ(Written(0), L"0");
  EXPECT_EQ(Written(9), L"9");
  EXPECT_EQ(Written(10), L"10");
  EXPECT_EQ(Written(99), L"99");
  EXPECT_EQ(Written(100), L"100");
  EXPECT_EQ(Written(65535), L"65535");
}

TEST(WideAppender, NumbersOf32Bits) {
  EXPECT_EQ(Written(99999999), L"99999999");
  EXPECT_EQ(Written(100000000), L"100000000");
  EXPECT_EQ(Written(999999999), L"999999999");
  EXPECT_EQ(Written(1000000000), L"1000000000");
  EXPECT_EQ(Written(4294967295U), L"4294967295");
}

TEST(WideAppender, NumbersOf64Bits) {
  EXPECT_EQ(Written(4294967296U), L"4294967296");
  EXPECT_EQ(Written(4300000000U), L"4300000000");
  EXPECT_EQ(Written(10000000000U), L"10000000000");
  EXPECT_EQ(Written(10000000001U), L"10000000001");
  EXPECT_EQ(Written(429496729599999999U), L"429496729599999999");
  EXPECT_EQ(Written(429496729600000000U), L"429496729600000000");
  EXPECT_EQ(Written(1000000000000000000U), L"1000000000000000000");
  EXPECT_EQ(Written(9999999999999999999U), L"9999999999999999999");
  EXPECT_EQ(Written(10000000000000000000U), L"10000000000000000000");
  EXPECT_EQ(Written(18446744073709551615U), L"18446744073709551615");
}

TEST(WideAppender, EightBitNumbersAreNoCharacters) {
  WideAppender appender(0);
  appender << std::uint8_t{65} << std::uint16_t{66} << std::uint32_t{67};
  EXPECT_EQ(appender.Text(), L"656667");
}

// Around the length from which literals are copied in blocks.
TEST(WideAppender, LiteralsOfManyLengths) {
  wchar_t memory[100];
  WideWriter writer(memory);
  writer << L"" << L"a" << L"bc" << L"defghij" << L"klmnopqr" << L"stuvwxyzA" << L"BCDEFGHIJKLMNOP"
         << L"QRSTUVWXYZ012345" << L"6789+-*/=!?.,:;()";
  EXPECT_EQ(std::wstring(memory, writer.End()),
            L"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-*/=!?.,:;()");
}

TEST(WideAppender, GrowsAndKeepsWhatItHolds) {
  WideAppender appender(3);
  std::wstring expected;
  for (int i = 0; i < 1000; ++i) {
    const std::wstring text(static_cast<std::size_t>(i), static_cast<wchar_t>(L'a' + i % 26));
    appender << text << L"-" << std::uint64_t{18446744073709551615U};
    expected += text + L"-18446744073709551615";
  }
  EXPECT_EQ(appender.Text(), expected);
}

TEST(WideAppender, TextsMayHoldZeroes) {
  WideAppender appender(0);
  appender << std::wstring_view(L"a\0b", 3) << L"c\0d";
  EXPECT_EQ(appender.Text(), std::wstring_view(L"a\0bc\0d", 6));
}

TEST(WideAppender, PartsAreWrittenIntoRoomThatIsThere) {
  WideAppender appender(4);
  appender << L"abc";
  WideWriter writer = appender.Begin(8);
  writer << L"def" << std::wstring_view(L"g") << std::uint64_t{12};
  appender.End(writer);
  appender << L"h";
  EXPECT_EQ(appender.Text(), L"abcdefg12h");
}

}  // namespace
}  // namespace launcher
