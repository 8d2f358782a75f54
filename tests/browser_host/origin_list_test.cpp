#include "hosts/browser/program/origin_list.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace browser_host {
namespace {

TEST(OriginList, ListsOriginsWithTheirPermissions) {
  const OriginList list(
      "# who may\n"
      "\n"
      "chrome-extension://abcdefghijklmnopabcdefghijklmnop\r\n"
      "https://games.example\n"
      "  https://games.example:8443 probe\n"
      "http://127.0.0.1:8410\n"
      "http://localhost\n");
  ASSERT_NE(list.Find("https://games.example"), nullptr);
  EXPECT_FALSE(list.Find("https://games.example")->probe);
  ASSERT_NE(list.Find("https://games.example:8443"), nullptr);
  EXPECT_TRUE(list.Find("https://games.example:8443")->probe);
  EXPECT_NE(list.Find("http://127.0.0.1:8410"), nullptr);
  EXPECT_NE(list.Find("http://localhost"), nullptr);
  EXPECT_NE(list.Find("chrome-extension://abcdefghijklmnopabcdefghijklmnop"), nullptr);
}

TEST(OriginList, FindsNothingElse) {
  const OriginList list("https://games.example\n#https://other.example\n");
  for (const char* const origin :
       {"", "null", "https://games.example/", "https://games.example:443", "http://games.example",
        "https://sub.games.example", "https://games.example.evil.example", "https://Games.example",
        "https://games.exampl", "#https://other.example", "https://other.example"}) {
    EXPECT_EQ(list.Find(origin), nullptr) << origin;
  }
}

TEST(OriginList, OneLineThatIsNotUnderstoodMakesItVoid) {
  for (const char* const line : {"*",
                                 "https://*",
                                 "https://*.example",
                                 "https://games.example/",
                                 "https://games.example/*",
                                 "https://games.example everything",
                                 "https://games.example probe launch",
                                 "https://Games.example",
                                 "https://",
                                 "https://a:b",
                                 "https://a:",
                                 "http://games.example",
                                 "http://127.0.0.1.evil.example",
                                 "http://localhost.evil.example",
                                 "ftp://games.example",
                                 "games.example",
                                 "null",
                                 "file://",
                                 "<all_urls>",
                                 "chrome-extension://short",
                                 "chrome-extension://abcdefghijklmnopabcdefghijklmnoq",
                                 "chrome-extension://*"}) {
    EXPECT_THROW(OriginList(std::string("https://good.example\n") + line + "\n"),
                 std::runtime_error)
        << line;
  }
}

TEST(OriginList, NamesTheLine) {
  try {
    const OriginList list("https://good.example\n\nhttps://*.example\n");
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "line 3 of the list of origins is not understood: https://*.example");
  }
}

TEST(OriginList, AMissingFileIsNoList) {
  EXPECT_THROW(OriginList::Load(L"C:\\none\\origins.txt"), std::runtime_error);
}

}  // namespace
}  // namespace browser_host
