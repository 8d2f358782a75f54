// What people and pages may hand to the launcher.

#include "hosts/common/checks.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "hosts/common/text.h"

namespace host {
namespace {

TEST(Checks, TellAddresses) {
  for (const char* const good : {"0.0.0.0", "255.255.255.255", "127.0.0.1"}) {
    EXPECT_TRUE(IsIpv4Address(good)) << good;
  }
  for (const char* const bad : {"", "1", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.04", "1.2.3.",
                                ".1.2.3", "1.2.3.4 ", "+1.2.3.4", "1..2.3", "1.2.3.4|5"}) {
    EXPECT_FALSE(IsIpv4Address(bad)) << bad;
  }
}

TEST(Checks, TellNumbers) {
  EXPECT_EQ(ParseNumber("18446744073709551615", ~std::uint64_t{0}), ~std::uint64_t{0});
  EXPECT_EQ(ParseNumber("18446744073709551616", ~std::uint64_t{0}), std::nullopt);
  EXPECT_EQ(ParseNumber("8", 8), 8U);
  EXPECT_EQ(ParseNumber("9", 8), std::nullopt);
  EXPECT_EQ(ParseNumber("-1", 8), std::nullopt);
  EXPECT_EQ(ParseNumber("", 8), std::nullopt);
  EXPECT_EQ(ParseNumber("1 ", 8), std::nullopt);
}

TEST(Checks, TellWhatFitsTheHelpersLine) {
  EXPECT_TRUE(FitsHelperLine("-a \"b c\" \xC3\xA9"));
  EXPECT_TRUE(FitsHelperLine(""));
  EXPECT_FALSE(FitsHelperLine("a|b"));
  EXPECT_FALSE(FitsHelperLine("a\nb"));
  EXPECT_FALSE(FitsHelperLine("a\x7F"));
}

// The best fits of every code page that can be Windows' own for programs.
TEST(Checks, NothingThatACodePageTurnsIntoABarFitsTheHelpersLine) {
  constexpr wchar_t kFirstBeyondAscii = 0x80;
  int found = 0;
  for (const UINT codePage : {874U, 932U, 936U, 949U, 950U, 1250U, 1251U, 1252U, 1253U, 1254U,
                              1255U, 1256U, 1257U, 1258U, 1361U, 65001U}) {
    for (wchar_t c = kFirstBeyondAscii; c < 0xFFFF; ++c) {
      char narrow[8] = "";
      if (WideCharToMultiByte(codePage, 0, &c, 1, narrow, 8, nullptr, nullptr) != 1) continue;
      if (narrow[0] != '|') continue;
      ++found;
      EXPECT_FALSE(FitsHelperLine(ToUtf8({&c, 1})))
          << std::hex << static_cast<int>(c) << " in " << std::dec << codePage;
    }
  }
  EXPECT_GT(found, 0);
}

TEST(Checks, TellLinks) {
  EXPECT_TRUE(IsPartOfLink("store/a-b._~:?#[]@!$&'()*+,;=%20"));
  EXPECT_TRUE(IsPartOfLink(""));
  for (const char* const bad :
       {" ", "\"", "\\", "<", ">", "^", "`", "{", "|", "}", "\x7F", "\xC3\xA9"}) {
    EXPECT_FALSE(IsPartOfLink(bad)) << bad;
  }
}

}  // namespace
}  // namespace host
