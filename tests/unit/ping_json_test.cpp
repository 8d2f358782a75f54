#include "ping/ping_json.h"

#include <gtest/gtest.h>

#include <string>

namespace launcher {
namespace {

TEST(PingJson, NoAddress) { EXPECT_EQ(BuildPingJson({}), L"[\n]\n"); }

// Addresses as they are, and only the last entry without a comma.
TEST(PingJson, ThreeAddresses) {
  EXPECT_EQ(BuildPingJson({{L"10.0.0.1", 23}, {L"a\"b\\c\td\n{} Zo\u00EB", 4294967295U}, {L"", 0}}),
            L"[\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"10.0.0.1\",\n"
            L"\t\t\"roundTripMSEC\": 23\n"
            L"\t},\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"a\"b\\c\td\n{} Zo\u00EB\",\n"
            L"\t\t\"roundTripMSEC\": 4294967295\n"
            L"\t},\n"
            L"\t{\n"
            L"\t\t\"ipAddress\": \"\",\n"
            L"\t\t\"roundTripMSEC\": 0\n"
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
