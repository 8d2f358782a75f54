// Reading the launcher's results, also those that are no JSON.

#include "hosts/common/results.h"

#include <gtest/gtest.h>

#include <string>

#include "hosts/common/checks.h"
#include "hosts/common/lenient_json.h"

namespace host {
namespace {

// One player, whose name is put in; the launcher's own lines around it.
std::string OnePlayer(const std::string& name) {
  return "{\n"
         "  \"status\": \"SUCCESS\", \n"
         "  \"platform\": \"1\", \n"
         "  \"persistedIdPart1\": \"2\", \n"
         "  \"persistedIdPart2\": \"3\", \n"
         "  \"gameId\": \"18446744073709551615\", \n"
         "  \"gameMode\": \"Frontier0\", \n"
         "  \"mapVariant\": 4,\n"
         "  \"currentMap\": \"Harbour\", \n"
         "  \"roundTime\": \"754\", \n"
         "  \"defaultRoundTimeMultiplier\": \"100\", \n"
         "  \"maxPlayers\": 64,\n"
         "  \"waitingPlayers\": 1,\n"
         "  \"frontier\": \n"
         "  {\n"
         "    \"1\":\n"
         "    {\n"
         "          \"tickets\": 340,\n"
         "          \"ticketsMax\": 400\n"
         "        }\n"
         "    },\n"
         "  \"teamInfo\": \n"
         "  {\n"
         "    \"0\":\n"
         "    {\n"
         "      \"faction\": 7,\n"
         "      \"players\":  \n"
         "      {\n"
         "        \"1001\":\n"
         "        {\n"
         "          \"name\": \"" +
         name +
         "\",\n"
         "          \"tag\": \"RED\",\n"
         "          \"rank\": 5,\n"
         "          \"score\": 4294967295,\n"
         "          \"kills\": 21,\n"
         "          \"deaths\": 4,\n"
         "          \"squad\": 1,\n"
         "          \"role\": 2 \n"
         "        }\n"
         "      }\n"
         "    }\n"
         "  }\n"
         "}\n";
}

TEST(QueryResult, IsReadInFull) {
  const ServerState state = ReadQueryResult(OnePlayer("Aldo"));
  EXPECT_EQ(state.status, "SUCCESS");
  EXPECT_EQ(state.platform, "1");
  EXPECT_EQ(state.persistedIdPart1, "2");
  EXPECT_EQ(state.persistedIdPart2, "3");
  EXPECT_EQ(state.gameId, "18446744073709551615");
  EXPECT_EQ(state.gameMode, "Frontier0");
  EXPECT_EQ(state.mapVariant, 4U);
  EXPECT_EQ(state.currentMap, "Harbour");
  EXPECT_EQ(state.roundTime, "754");
  EXPECT_EQ(state.defaultRoundTimeMultiplier, "100");
  EXPECT_EQ(state.maxPlayers, 64U);
  EXPECT_EQ(state.waitingPlayers, 1U);
  EXPECT_EQ(state.modeKind, "frontier");
  ASSERT_EQ(state.modeRows.size(), 1U);
  EXPECT_EQ(state.modeRows[0].name, "1");
  EXPECT_EQ(state.modeRows[0].values, (NamedNumbers{{"tickets", 340}, {"ticketsMax", 400}}));
  ASSERT_EQ(state.teams.size(), 1U);
  EXPECT_EQ(state.teams[0].faction, 7U);
  ASSERT_EQ(state.teams[0].players.size(), 1U);
  const Player& player = state.teams[0].players[0];
  EXPECT_EQ(player.playerId, "1001");
  EXPECT_EQ(player.name, "Aldo");
  EXPECT_EQ(player.tag, "RED");
  EXPECT_EQ(player.rank, 5U);
  EXPECT_EQ(player.score, 4294967295U);
  EXPECT_EQ(player.kills, 21U);
  EXPECT_EQ(player.deaths, 4U);
  EXPECT_EQ(player.squad, 1U);
  EXPECT_EQ(player.role, 2U);
}

TEST(QueryResult, AnyNameIsRead) {
  for (const char* const name :
       {"", "\"", "\\", "a\"b\\c", "tab\there", "line\nfeed", "\x01", "\",", "\",\n", "\\\"", "{}",
        "\", \n  \"roundTime\": \"", "\"name\": \"", "\xC3\xA9\xE2\x82\xAC"}) {
    EXPECT_EQ(ReadQueryResult(OnePlayer(name)).teams.at(0).players.at(0).name, name);
  }
}

TEST(QueryResult, ANameThatImitatesTheLaunchersOwnLinesStaysAName) {
  // It can pretend another name and tag, since it is the server's text that is shown; it cannot
  // reach beyond the player.
  const std::string name = "x\",\n          \"tag\": \"y";
  const ServerState state = ReadQueryResult(OnePlayer(name));
  ASSERT_EQ(state.teams.at(0).players.size(), 1U);
  EXPECT_EQ(state.teams[0].players[0].name, "x");
  EXPECT_EQ(state.teams[0].players[0].tag, "y\",\n          \"tag\": \"RED");
}

TEST(QueryResult, PlayersWithTheSameIdAreKept) {
  std::string text = OnePlayer("Aldo");
  const std::size_t begin = text.find("        \"1001\":\n");
  const std::size_t end = text.find("      }\n    }\n  }\n}\n");
  std::string player = text.substr(begin, end - begin);
  text.insert(begin, player.substr(0, player.size() - 1) + ",\n");
  EXPECT_EQ(ReadQueryResult(text).teams.at(0).players.size(), 2U);
}

TEST(QueryResult, AnArmsLadderIsRead) {
  std::string text = OnePlayer("Aldo");
  const std::size_t begin = text.find("  \"frontier\": \n");
  const std::size_t end = text.find("  \"teamInfo\": \n");
  text.replace(
      begin, end - begin,
      "  \"armsLadder\": \n  {\n    \"maxArmsLadderLevel\": 12,\n    \"players\": \n    {\n"
      "        \"1001\":3,\n        \"1002\":4\n    }\n  },\n");
  const ServerState state = ReadQueryResult(text);
  EXPECT_EQ(state.modeKind, "armsLadder");
  ASSERT_EQ(state.modeRows.size(), 2U);
  EXPECT_EQ(state.modeRows[1].name, "1002");
  EXPECT_EQ(state.modeRows[1].values, (NamedNumbers{{"level", 4}, {"maxLevel", 12}}));
}

TEST(QueryResult, ABreachIsRead) {
  std::string text = OnePlayer("Aldo");
  const std::size_t begin = text.find("  \"frontier\": \n");
  const std::size_t end = text.find("  \"teamInfo\": \n");
  text.replace(begin, end - begin,
               "  \"breach\": \n  {\n    \"attackers\": \n    {\n          \"team\": 1,\n"
               "          \"tickets\": 75,\n          \"ticketsMax\": 100\n    },\n"
               "    \"defenders\": \n    {\n          \"team\": 2,\n          \"bases\": 1,\n"
               "          \"basesMax\": 4\n    }\n  },\n");
  const ServerState state = ReadQueryResult(text);
  EXPECT_EQ(state.modeKind, "breach");
  ASSERT_EQ(state.modeRows.size(), 2U);
  EXPECT_EQ(state.modeRows[0].name, "attackers");
  EXPECT_EQ(state.modeRows[1].values, (NamedNumbers{{"team", 2}, {"bases", 1}, {"basesMax", 4}}));
}

TEST(QueryResult, WhatIsNoResultIsRefused) {
  const std::string whole = OnePlayer("Aldo");
  EXPECT_THROW(ReadQueryResult(""), std::runtime_error);
  EXPECT_THROW(ReadQueryResult("{}"), std::runtime_error);
  EXPECT_THROW(ReadQueryResult("7"), std::runtime_error);
  EXPECT_THROW(ReadQueryResult(std::string(100000, '[')), std::runtime_error);
  for (std::size_t size = 0; size + 2 < whole.size(); size += 7) {
    EXPECT_THROW(ReadQueryResult(whole.substr(0, size)), std::runtime_error) << size;
  }
  std::string negative = whole;
  negative.replace(negative.find("\"kills\": 21"), 11, "\"kills\": -1");
  EXPECT_THROW(ReadQueryResult(negative), std::runtime_error);
}

TEST(QueryResult, BecomesStrictJson) {
  const Json json = ToJson(ReadQueryResult(OnePlayer("the \"Rock\"")));
  EXPECT_EQ(json["mode"], Json::parse(R"({"kind": "frontier",
                            "rows": [{"name": "1", "values": {"tickets": 340, "ticketsMax": 400}}]})"));
  EXPECT_EQ(json["teams"][0]["players"][0]["name"], "the \"Rock\"");
}

TEST(PingResult, IsRead) {
  const auto times = ReadPingResult(
      "[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 23\n\t},\n"
      "\t{\n\t\t\"ipAddress\": \"a \"b\"\\\",\n\t\t\"roundTripMSEC\": 4294967295\n\t}\n]\n");
  ASSERT_EQ(times.size(), 2U);
  EXPECT_EQ(times[0].address, "10.0.0.1");
  EXPECT_EQ(times[0].milliseconds, 23U);
  EXPECT_EQ(times[1].address, "a \"b\"\\");
  EXPECT_EQ(times[1].milliseconds, kNoAnswer);
}

TEST(PingResult, MayBeEmpty) { EXPECT_TRUE(ReadPingResult("[\n]\n").empty()); }

TEST(PingResult, ATimeBeyond32BitsIsRefused) {
  EXPECT_THROW(ReadPingResult(
                   "[\n\t{\n\t\t\"ipAddress\": \"\",\n\t\t\"roundTripMSEC\": 4294967296\n\t}\n]\n"),
               std::runtime_error);
}

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

}  // namespace
}  // namespace host
