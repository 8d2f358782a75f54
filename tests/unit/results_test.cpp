// Reading the launcher's results, whatever a server's texts hold.

#include "hosts/common/results.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

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

TEST(QueryResult, AnyNameOfOneLineIsRead) {
  for (const char* const name :
       {"", "\"", "\\", "a\"b\\c", "tab\there", "\x01", "\",", "carriage\rreturn", "\\\"", "{}",
        "\", ", "\"name\": \"", "          \"tag\": \"x\",", "\xC3\xA9\xE2\x82\xAC"}) {
    const ServerState state = ReadQueryResult(OnePlayer(name));
    EXPECT_EQ(state.teams.at(0).players.at(0).name, name);
    EXPECT_FALSE(state.suspicious) << name;
    EXPECT_FALSE(state.ambiguous) << name;
  }
}

constexpr char kNumbersOfAPlayer[] =
    "          \"rank\": 1,\n          \"score\": 2,\n          \"kills\": 3,\n"
    "          \"deaths\": 4,\n          \"squad\": 5,\n          \"role\": 6 \n";

TEST(QueryResult, NamesThatImitateTheLaunchersLinesAreCutOut) {
  const std::string numbers = kNumbersOfAPlayer;
  const std::vector<std::string> names{
      "\n", "line\nfeed", "\",\n", "\", \n  \"roundTime\": \"",
      // Another tag; the real one comes second.
      "x\",\n          \"tag\": \"y",
      // Everything of a player; the real numbers come second.
      "x\",\n          \"tag\": \"y\",\n" + numbers + "        },",
      // Another player in another spelling.
      "x\",\"tag\":\"\",\"rank\":1,\"score\":1,\"kills\":1,\"deaths\":1,\"squad\":1,\"role\":1},"
      "\n\"9\":{\"name\":\"y",
      // The end of the result.
      "x\",\n          \"tag\": \"y\",\n" + numbers + "        }\n      }\n    }\n  }\n}\n",
      std::string(255, '\n')};
  for (const std::string& name : names) {
    const ServerState state = ReadQueryResult(OnePlayer(name));
    EXPECT_TRUE(state.suspicious) << name;
    EXPECT_FALSE(state.ambiguous) << name;
    EXPECT_EQ(ToJson(state).dump().find("\\n"), std::string::npos) << name;
    EXPECT_EQ(state.status, "SUCCESS");
    EXPECT_EQ(state.waitingPlayers, 1U);
    EXPECT_EQ(state.teams.at(0).players.size(), 1U) << name;
  }
}

// The longest name has room for the end of one player and the beginning of another, and nothing
// tells it from two players.
std::string NameOfTwoPlayers(const std::string& first, const std::string& second) {
  return first + "\",\n          \"tag\": \"\",\n" + kNumbersOfAPlayer +
         "        },\n        \"7\":\n        {\n          \"name\": \"" + second;
}

TEST(QueryResult, ANameThatImitatesAnotherPlayerIsSeen) {
  ASSERT_EQ(NameOfTwoPlayers("", "").size(), 208U);
  // Too long for a tag to do the same.
  const std::string second(45, 'y');
  for (const std::string first : {"", "xx", "\xEF\xBF\xBD"}) {  // the last is one byte on its way
    const ServerState state = ReadQueryResult(OnePlayer(NameOfTwoPlayers(first, second)));
    EXPECT_EQ(state.teams.at(0).players.size(), 2U);
    EXPECT_TRUE(state.ambiguous) << first;
    EXPECT_FALSE(state.suspicious);
  }
  const ServerState state = ReadQueryResult(OnePlayer(NameOfTwoPlayers("xxx", second)));
  EXPECT_EQ(state.teams.at(0).players.size(), 2U);
  EXPECT_FALSE(state.ambiguous);
}

TEST(QueryResult, ATagThatImitatesAnotherPlayerIsSeen) {
  std::string text = OnePlayer(std::string(60, 'x'));
  const std::string tag = "\",\n" + std::string(kNumbersOfAPlayer) +
                          "        },\n        \"7\":\n        {\n          \"name\": \"" +
                          "\",\n          \"tag\": \"";
  text.insert(text.find("RED"), tag);
  const ServerState state = ReadQueryResult(text);
  EXPECT_EQ(state.teams.at(0).players.size(), 2U);
  EXPECT_TRUE(state.ambiguous);
}

TEST(QueryResult, AMapThatImitatesTheHeaderIsCutOut) {
  std::string text = OnePlayer("Aldo");
  text.insert(text.find("Harbour"), "x\", \n  \"roundTime\": \"1");
  const ServerState state = ReadQueryResult(text);
  EXPECT_TRUE(state.suspicious);
  EXPECT_EQ(state.currentMap, "");
  EXPECT_EQ(state.roundTime, "754");
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
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_THROW(ReadQueryResult(whole.substr(0, size)), std::runtime_error) << size;
  }
  for (const char* const kills : {"-1", "+1", "65536", "021", "2.0", "", "\"21\""}) {
    std::string other = whole;
    other.replace(other.find("\"kills\": 21") + 9, 2, kills);
    EXPECT_THROW(ReadQueryResult(other), std::runtime_error) << kills;
  }
}

// As many players as fit into a datagram, and all of it lines of texts.
TEST(QueryResult, TheLargestResponseIsReadInOneGo) {
  std::string text = OnePlayer("");
  const std::size_t begin = text.find("        \"1001\":\n");
  const std::size_t end = text.find("      }\n    }\n  }\n}\n");
  const std::string player = text.substr(begin, end - begin - 1) + ",\n";
  std::string players;
  for (int i = 0; i < 3250; ++i) players += player;
  text.insert(begin, players);
  EXPECT_EQ(ReadQueryResult(text).teams.at(0).players.size(), 3251U);
  text.insert(text.find("Frontier0"), "a\nb");
  const ServerState state = ReadQueryResult(text);
  EXPECT_TRUE(state.suspicious);
  EXPECT_EQ(state.teams.at(0).players.size(), 3251U);
}

TEST(QueryResult, BecomesStrictJson) {
  const Json json = ToJson(ReadQueryResult(OnePlayer("the \"Rock\"")));
  EXPECT_EQ(json["mode"], Json::parse(R"({"kind": "frontier",
                            "rows": [{"name": "1", "values": {"tickets": 340, "ticketsMax": 400}}]})"));
  EXPECT_EQ(json["teams"][0]["players"][0]["name"], "the \"Rock\"");
  EXPECT_EQ(json["suspicious"], false);
  EXPECT_EQ(json["ambiguous"], false);
}

// A batch of one address, and of the one that cannot answer.
std::string TwoTimes(const std::string& address, const std::string& time,
                     const std::string& timeOfImpossible) {
  return "[\n\t{\n\t\t\"ipAddress\": \"" + address + "\",\n\t\t\"roundTripMSEC\": " + time +
         "\n\t},\n\t{\n\t\t\"ipAddress\": \"256.0.0.1\",\n\t\t\"roundTripMSEC\": " +
         timeOfImpossible + "\n\t}\n]\n";
}

TEST(PingResult, IsRead) {
  struct {
    const char* time;
    const char* timeOfImpossible;
    bool hasTimes;
    std::optional<std::uint32_t> milliseconds;
  } const cases[]{
      {"23", "4294967295", true, 23},
      {"0", "4294967295", true, 0},
      {"500", "2", true, 500},
      {"501", "2", true, std::nullopt},
      {"4294967295", "4294967295", true, std::nullopt},
      {"0", "0", false, std::nullopt},
      {"7", "0", false, std::nullopt},
  };
  for (const auto& [time, timeOfImpossible, hasTimes, milliseconds] : cases) {
    const PingResult result = ReadPingResult(TwoTimes("a \"b\"\\", time, timeOfImpossible));
    EXPECT_EQ(result.hasTimes, hasTimes) << time;
    ASSERT_EQ(result.times.size(), 1U);
    EXPECT_EQ(result.times[0].address, "a \"b\"\\");
    EXPECT_EQ(result.times[0].milliseconds, milliseconds) << time;
  }
}

TEST(PingResult, OthersAreRefused) {
  EXPECT_THROW(ReadPingResult("[\n]\n"), std::runtime_error);
  EXPECT_THROW(ReadPingResult("[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n"
                              "\t\t\"roundTripMSEC\": 1\n\t}\n]\n"),
               std::runtime_error);
  EXPECT_THROW(ReadPingResult(TwoTimes("10.0.0.1", "4294967296", "1")), std::runtime_error);
}

}  // namespace
}  // namespace host
