#include "ping/ping_json.h"

#include <gtest/gtest.h>

#include <string>

namespace launcher {
namespace {

TEST(PingJson, NoAddress) { EXPECT_EQ(BuildPingJson({}), L"[\n]\n"); }

TEST(PingJson, OneAddressHasNoComma) {
  EXPECT_EQ(BuildPingJson({{L"192.168.0.1", 5}}),
            L"[\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"192.168.0.1\",\n"
            L"\t\t\"roundTripMSEC\": 5\n"
            L"\t}\n"
            L"]\n");
}

TEST(PingJson, TwoAddresses) {
  EXPECT_EQ(BuildPingJson({{L"10.0.0.1", 23}, {L"10.0.0.2", 40}}),
            L"[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 23\n\t},\n\t{\n"
            L"\t\t\"ipAddress\": \"10.0.0.2\",\n\t\t\"roundTripMSEC\": 40\n\t}\n]\n");
}

TEST(PingJson, OnlyTheLastEntryHasNoComma) {
  EXPECT_EQ(BuildPingJson({{L"c", 3}, {L"a", 1}, {L"c", 3}}),
            L"[\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"c\",\n"
            L"\t\t\"roundTripMSEC\": 3\n"
            L"\t},\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"a\",\n"
            L"\t\t\"roundTripMSEC\": 1\n"
            L"\t},\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"c\",\n"
            L"\t\t\"roundTripMSEC\": 3\n"
            L"\t}\n"
            L"]\n");
}

TEST(PingJson, AddressWithoutReplyHasTimeZero) {
  PingInfo info;
  info.ipAddress = L"10.0.0.1";
  EXPECT_EQ(BuildPingJson({info}),
            L"[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 0\n\t}\n]\n");
}

TEST(PingJson, LargestTime) {
  EXPECT_EQ(BuildPingJson({{L"a", 4294967295U}}),
            L"[\n\t{\n\t\t\"ipAddress\": \"a\",\n\t\t\"roundTripMSEC\": 4294967295\n\t}\n]\n");
}

TEST(PingJson, AddressesStandAsTheyAre) {
  EXPECT_EQ(BuildPingJson({{L"a\"b\\c\td\n{}", 1}, {L"", 2}, {L"Zo\u00EB", 3}}),
            L"[\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"a\"b\\c\td\n{}\",\n"
            L"\t\t\"roundTripMSEC\": 1\n"
            L"\t},\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"\",\n"
            L"\t\t\"roundTripMSEC\": 2\n"
            L"\t},\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"Zo\u00EB\",\n"
            L"\t\t\"roundTripMSEC\": 3\n"
            L"\t}\n"
            L"]\n");
}

TEST(PingJson, AddressesLongerThanExpected) {
  const std::wstring address(1000, L'9');
  std::wstring expected = L"[\n";
  PingInfos infos;
  for (int i = 0; i < 300; ++i) {
    infos.push_back({address, 4294967295U});
    expected += L"\t{\n\t\t\"ipAddress\": \"" + address +
                L"\",\n\t\t\"roundTripMSEC\": 4294967295\n" + (i < 299 ? L"\t},\n" : L"\t}\n");
  }
  expected += L"]\n";
  EXPECT_EQ(BuildPingJson(infos), expected);
}

// Such a text asks for exactly the memory that it needs.
TEST(PingJson, HugeAddress) {
  const std::wstring address(100000, L'9');
  EXPECT_EQ(BuildPingJson({{address, 4294967295U}, {L"a", 1}}),
            L"[\n\t{\n\t\t\"ipAddress\": \"" + address +
                L"\",\n\t\t\"roundTripMSEC\": 4294967295\n\t},\n"
                L"\t{\n\t\t\"ipAddress\": \"a\",\n\t\t\"roundTripMSEC\": 1\n\t}\n]\n");
}

}  // namespace
}  // namespace launcher
