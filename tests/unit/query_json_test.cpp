#include "query/query_json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace launcher {
namespace {

// The header of a result in which everything is zero or empty.
const std::wstring kEmptyHeader =
    L"  \"status\": \"\", \n"
    L"  \"platform\": \"0\", \n"
    L"  \"persistedIdPart1\": \"0\", \n"
    L"  \"persistedIdPart2\": \"0\", \n"
    L"  \"gameId\": \"0\", \n"
    L"  \"gameMode\": \"\", \n"
    L"  \"mapVariant\": 0,\n"
    L"  \"currentMap\": \"\", \n"
    L"  \"roundTime\": \"0\", \n"
    L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
    L"  \"maxPlayers\": 0,\n"
    L"  \"waitingPlayers\": 0,\n";

const std::wstring kNoTeams =
    L"  \"teamInfo\": \n"
    L"  {\n"
    L"  }\n";

std::wstring WithSection(const std::wstring& section) {
  return L"{\n" + kEmptyHeader + section + kNoTeams + L"}\n";
}

std::wstring WithTeams(const std::wstring& teams) {
  return L"{\n" + kEmptyHeader + L"  \"teamInfo\": \n  {\n" + teams + L"  }\n}\n";
}

PlayerRecord MakePlayer(std::uint64_t playerId) {
  PlayerRecord player;
  player.playerId = playerId;
  return player;
}

TEST(QueryJson, EmptyResult) {
  EXPECT_EQ(BuildQueryJson(QueryResult()),
            L"{\n"
            L"  \"status\": \"\", \n"
            L"  \"platform\": \"0\", \n"
            L"  \"persistedIdPart1\": \"0\", \n"
            L"  \"persistedIdPart2\": \"0\", \n"
            L"  \"gameId\": \"0\", \n"
            L"  \"gameMode\": \"\", \n"
            L"  \"mapVariant\": 0,\n"
            L"  \"currentMap\": \"\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 0,\n"
            L"  \"waitingPlayers\": 0,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryJson, Header) {
  QueryResult result;
  result.status = L"SUCCESS";
  result.platform = 1;
  result.persistedIdPart1 = 2;
  result.persistedIdPart2 = 3;
  result.gameId = 4;
  result.gameMode = L"Chess";
  result.mapVariant = 5;
  result.currentMap = L"MP_Harbour";
  result.roundTime = 6;
  result.defaultRoundTimeMultiplier = 7;
  result.maxPlayers = 8;
  result.waitingPlayers = 9;
  EXPECT_EQ(BuildQueryJson(result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"1\", \n"
            L"  \"persistedIdPart1\": \"2\", \n"
            L"  \"persistedIdPart2\": \"3\", \n"
            L"  \"gameId\": \"4\", \n"
            L"  \"gameMode\": \"Chess\", \n"
            L"  \"mapVariant\": 5,\n"
            L"  \"currentMap\": \"MP_Harbour\", \n"
            L"  \"roundTime\": \"6\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"7\", \n"
            L"  \"maxPlayers\": 8,\n"
            L"  \"waitingPlayers\": 9,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"  }\n"
            L"}\n");
}

// 65 is the code of "A", 34 that of a quote.
TEST(QueryJson, EightBitFieldsAreNumbersAndNoCharacters) {
  QueryResult result;
  result.platform = 65;
  result.mapVariant = 34;
  result.maxPlayers = 65;
  result.waitingPlayers = 10;
  result.teams.resize(1);
  result.teams[0].faction = 66;
  result.teams[0].players.push_back(MakePlayer(67));
  result.teams[0].players[0].squad = 68;
  result.teams[0].players[0].role = 69;
  EXPECT_EQ(BuildQueryJson(result),
            L"{\n"
            L"  \"status\": \"\", \n"
            L"  \"platform\": \"65\", \n"
            L"  \"persistedIdPart1\": \"0\", \n"
            L"  \"persistedIdPart2\": \"0\", \n"
            L"  \"gameId\": \"0\", \n"
            L"  \"gameMode\": \"\", \n"
            L"  \"mapVariant\": 34,\n"
            L"  \"currentMap\": \"\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 65,\n"
            L"  \"waitingPlayers\": 10,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"    \"0\":\n"
            L"    {\n"
            L"      \"faction\": 66,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"67\":\n"
            L"        {\n"
            L"          \"name\": \"\",\n"
            L"          \"tag\": \"\",\n"
            L"          \"rank\": 0,\n"
            L"          \"score\": 0,\n"
            L"          \"kills\": 0,\n"
            L"          \"deaths\": 0,\n"
            L"          \"squad\": 68,\n"
            L"          \"role\": 69 \n"
            L"        }\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryJson, LargestNumbers) {
  QueryResult result;
  result.platform = 255;
  result.persistedIdPart1 = 18446744073709551615U;
  result.persistedIdPart2 = 18446744073709551614U;
  result.gameId = 10000000000000000000U;
  result.mapVariant = 255;
  result.roundTime = 4294967295U;
  result.defaultRoundTimeMultiplier = 4294967294U;
  result.maxPlayers = 255;
  result.waitingPlayers = 254;
  result.teams.resize(1);
  result.teams[0].faction = 255;
  PlayerRecord player = MakePlayer(18446744073709551615U);
  player.rank = 65535;
  player.score = 4294967295U;
  player.kills = 65534;
  player.deaths = 65533;
  player.squad = 255;
  player.role = 254;
  result.teams[0].players.push_back(player);
  EXPECT_EQ(BuildQueryJson(result),
            L"{\n"
            L"  \"status\": \"\", \n"
            L"  \"platform\": \"255\", \n"
            L"  \"persistedIdPart1\": \"18446744073709551615\", \n"
            L"  \"persistedIdPart2\": \"18446744073709551614\", \n"
            L"  \"gameId\": \"10000000000000000000\", \n"
            L"  \"gameMode\": \"\", \n"
            L"  \"mapVariant\": 255,\n"
            L"  \"currentMap\": \"\", \n"
            L"  \"roundTime\": \"4294967295\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"4294967294\", \n"
            L"  \"maxPlayers\": 255,\n"
            L"  \"waitingPlayers\": 254,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"    \"0\":\n"
            L"    {\n"
            L"      \"faction\": 255,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"18446744073709551615\":\n"
            L"        {\n"
            L"          \"name\": \"\",\n"
            L"          \"tag\": \"\",\n"
            L"          \"rank\": 65535,\n"
            L"          \"score\": 4294967295,\n"
            L"          \"kills\": 65534,\n"
            L"          \"deaths\": 65533,\n"
            L"          \"squad\": 255,\n"
            L"          \"role\": 254 \n"
            L"        }\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryJson, TextsStandAsTheyAre) {
  QueryResult result;
  result.status = L"a\"b";
  result.gameMode = L"c\\d\",\"{";
  result.currentMap = L"e\nf\t}";
  result.teams.resize(1);
  PlayerRecord player = MakePlayer(1);
  player.name = L"Zo\u00EB \"\\\n{";
  player.tag = L"}\u20AC\x01";
  result.teams[0].players.push_back(player);
  EXPECT_EQ(BuildQueryJson(result),
            L"{\n"
            L"  \"status\": \"a\"b\", \n"
            L"  \"platform\": \"0\", \n"
            L"  \"persistedIdPart1\": \"0\", \n"
            L"  \"persistedIdPart2\": \"0\", \n"
            L"  \"gameId\": \"0\", \n"
            L"  \"gameMode\": \"c\\d\",\"{\", \n"
            L"  \"mapVariant\": 0,\n"
            L"  \"currentMap\": \"e\nf\t}\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 0,\n"
            L"  \"waitingPlayers\": 0,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"    \"0\":\n"
            L"    {\n"
            L"      \"faction\": 0,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"1\":\n"
            L"        {\n"
            L"          \"name\": \"Zo\u00EB \"\\\n{\",\n"
            L"          \"tag\": \"}\u20AC\x01\",\n"
            L"          \"rank\": 0,\n"
            L"          \"score\": 0,\n"
            L"          \"kills\": 0,\n"
            L"          \"deaths\": 0,\n"
            L"          \"squad\": 0,\n"
            L"          \"role\": 0 \n"
            L"        }\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryJsonSection, FrontierWithOneTeam) {
  QueryResult result;
  result.frontierScores[7] = {100, 400};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"frontier\": \n"
                                                L"  {\n"
                                                L"    \"7\":\n"
                                                L"    {\n"
                                                L"          \"tickets\": 100,\n"
                                                L"          \"ticketsMax\": 400\n"
                                                L"        }\n"
                                                L"    },\n"));
}

TEST(QueryJsonSection, FrontierInAscendingOrderOfTeams) {
  QueryResult result;
  result.frontierScores[200] = {65535, 65534};
  result.frontierScores[0] = {0, 1};
  result.frontierScores[65] = {2, 3};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"frontier\": \n"
                                                L"  {\n"
                                                L"    \"0\":\n"
                                                L"    {\n"
                                                L"          \"tickets\": 0,\n"
                                                L"          \"ticketsMax\": 1\n"
                                                L"        },\n"
                                                L"    \"65\":\n"
                                                L"    {\n"
                                                L"          \"tickets\": 2,\n"
                                                L"          \"ticketsMax\": 3\n"
                                                L"        },\n"
                                                L"    \"200\":\n"
                                                L"    {\n"
                                                L"          \"tickets\": 65535,\n"
                                                L"          \"ticketsMax\": 65534\n"
                                                L"        }\n"
                                                L"    },\n"));
}

TEST(QueryJsonSection, KillraceWithOneTeam) {
  QueryResult result;
  result.killraceScores[0] = {0, 0};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"killrace\": \n"
                                                L"  {\n"
                                                L"    \"0\":\n"
                                                L"    {\n"
                                                L"          \"kills\": 0,\n"
                                                L"          \"killsMax\": 0\n"
                                                L"        }\n"
                                                L"  },\n"));
}

TEST(QueryJsonSection, KillraceWithTwoTeams) {
  QueryResult result;
  result.killraceScores[2] = {31, 100};
  result.killraceScores[1] = {20, 99};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"killrace\": \n"
                                                L"  {\n"
                                                L"    \"1\":\n"
                                                L"    {\n"
                                                L"          \"kills\": 20,\n"
                                                L"          \"killsMax\": 99\n"
                                                L"        },\n"
                                                L"    \"2\":\n"
                                                L"    {\n"
                                                L"          \"kills\": 31,\n"
                                                L"          \"killsMax\": 100\n"
                                                L"        }\n"
                                                L"  },\n"));
}

TEST(QueryJsonSection, Breach) {
  QueryResult result;
  result.breach.attackersTeam = 65;
  result.breach.defendersTeam = 66;
  result.breach.tickets = 300;
  result.breach.ticketsMax = 65535;
  result.breach.bases = 67;
  result.breach.basesMax = 255;
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"breach\": \n"
                                                L"  {\n"
                                                L"    \"attackers\": \n"
                                                L"    {\n"
                                                L"          \"team\": 65,\n"
                                                L"          \"tickets\": 300,\n"
                                                L"          \"ticketsMax\": 65535\n"
                                                L"    },\n"
                                                L"    \"defenders\": \n"
                                                L"    {\n"
                                                L"          \"team\": 66,\n"
                                                L"          \"bases\": 67,\n"
                                                L"          \"basesMax\": 255\n"
                                                L"    }\n"
                                                L"  },\n"));
}

TEST(QueryJsonSection, BreachWithoutBasesIsNoSection) {
  QueryResult result;
  result.breach.attackersTeam = 1;
  result.breach.defendersTeam = 2;
  result.breach.tickets = 75;
  result.breach.ticketsMax = 100;
  result.breach.bases = 3;
  result.breach.basesMax = 0;
  EXPECT_EQ(BuildQueryJson(result), WithSection(L""));
}

TEST(QueryJsonSection, ArmsLadderWithoutPlayers) {
  QueryResult result;
  result.maxArmsLadderLevel = 1;
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"armsLadder\": \n"
                                                L"  {\n"
                                                L"    \"maxArmsLadderLevel\": 1,\n"
                                                L"    \"players\": \n"
                                                L"    {\n"
                                                L"    }\n"
                                                L"  },\n"));
}

TEST(QueryJsonSection, ArmsLadderWithOnePlayer) {
  QueryResult result;
  result.maxArmsLadderLevel = 255;
  result.armsLadderPlayers = {{18446744073709551615U, 65}};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"armsLadder\": \n"
                                                L"  {\n"
                                                L"    \"maxArmsLadderLevel\": 255,\n"
                                                L"    \"players\": \n"
                                                L"    {\n"
                                                L"        \"18446744073709551615\":65\n"
                                                L"    }\n"
                                                L"  },\n"));
}

TEST(QueryJsonSection, ArmsLadderKeepsTheOrderOfItsPlayers) {
  QueryResult result;
  result.maxArmsLadderLevel = 20;
  result.armsLadderPlayers = {{9, 7}, {1, 0}, {9, 8}};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"armsLadder\": \n"
                                                L"  {\n"
                                                L"    \"maxArmsLadderLevel\": 20,\n"
                                                L"    \"players\": \n"
                                                L"    {\n"
                                                L"        \"9\":7,\n"
                                                L"        \"1\":0,\n"
                                                L"        \"9\":8\n"
                                                L"    }\n"
                                                L"  },\n"));
}

TEST(QueryJsonSection, ArmsLadderWithoutTopLevelIsNoSection) {
  QueryResult result;
  result.armsLadderPlayers = {{9, 7}};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L""));
}

TEST(QueryJsonSection, SeizeTheBannerWithOneTeam) {
  QueryResult result;
  result.seizeTheBannerScores[65] = {1, 3, 1200};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"seizeTheBanner\": \n"
                                                L"  {\n"
                                                L"    \"65\":\n"
                                                L"    {\n"
                                                L"          \"flags\": 1,\n"
                                                L"          \"flagsMax\": 3,\n"
                                                L"\t\t  \"roundTimeMax\": 1200\n"
                                                L"        }\n"
                                                L"    },\n"));
}

TEST(QueryJsonSection, SeizeTheBannerWithTwoTeams) {
  QueryResult result;
  result.seizeTheBannerScores[2] = {4, 5, 6};
  result.seizeTheBannerScores[1] = {65535, 65534, 65533};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"seizeTheBanner\": \n"
                                                L"  {\n"
                                                L"    \"1\":\n"
                                                L"    {\n"
                                                L"          \"flags\": 65535,\n"
                                                L"          \"flagsMax\": 65534,\n"
                                                L"\t\t  \"roundTimeMax\": 65533\n"
                                                L"        },\n"
                                                L"    \"2\":\n"
                                                L"    {\n"
                                                L"          \"flags\": 4,\n"
                                                L"          \"flagsMax\": 5,\n"
                                                L"\t\t  \"roundTimeMax\": 6\n"
                                                L"        }\n"
                                                L"    },\n"));
}

TEST(QueryJsonSection, VesselStrikeWithOneTeam) {
  QueryResult result;
  result.vesselStrikeScores[3] = {65, 900};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"vesselStrike\": \n"
                                                L"  {\n"
                                                L"    \"3\":\n"
                                                L"    {\n"
                                                L"          \"explodedCrates\": 65,\n"
                                                L"          \"vesselHealth\": 900\n"
                                                L"        }\n"
                                                L"    },\n"));
}

TEST(QueryJsonSection, VesselStrikeWithTwoTeams) {
  QueryResult result;
  result.vesselStrikeScores[255] = {255, 65535};
  result.vesselStrikeScores[10] = {0, 1};
  EXPECT_EQ(BuildQueryJson(result), WithSection(L"  \"vesselStrike\": \n"
                                                L"  {\n"
                                                L"    \"10\":\n"
                                                L"    {\n"
                                                L"          \"explodedCrates\": 0,\n"
                                                L"          \"vesselHealth\": 1\n"
                                                L"        },\n"
                                                L"    \"255\":\n"
                                                L"    {\n"
                                                L"          \"explodedCrates\": 255,\n"
                                                L"          \"vesselHealth\": 65535\n"
                                                L"        }\n"
                                                L"    },\n"));
}

// Data of all kinds at once never come from a server; what is taken away here leaves the next.
TEST(QueryJsonSection, FirstKindThatHoldsDataIsTheOnlyOne) {
  QueryResult result;
  result.frontierScores[1] = {1, 2};
  result.killraceScores[1] = {3, 4};
  result.breach.basesMax = 5;
  result.maxArmsLadderLevel = 6;
  result.seizeTheBannerScores[1] = {7, 8, 9};
  result.vesselStrikeScores[1] = {10, 11};
  const auto sectionLines = [&] {
    const std::wstring json = BuildQueryJson(result);
    std::wstring found;
    for (const wchar_t* kind :
         {L"frontier", L"killrace", L"breach", L"armsLadder", L"seizeTheBanner", L"vesselStrike"}) {
      const std::wstring line = L"\n  \"" + std::wstring(kind) + L"\": \n  {\n";
      if (json.find(line) != std::wstring::npos) found += std::wstring(kind) + L" ";
    }
    return found;
  };
  EXPECT_EQ(sectionLines(), L"frontier ");
  result.frontierScores.clear();
  EXPECT_EQ(sectionLines(), L"killrace ");
  result.killraceScores.clear();
  EXPECT_EQ(sectionLines(), L"breach ");
  result.breach.basesMax = 0;
  EXPECT_EQ(sectionLines(), L"armsLadder ");
  result.maxArmsLadderLevel = 0;
  EXPECT_EQ(sectionLines(), L"seizeTheBanner ");
  result.seizeTheBannerScores.clear();
  EXPECT_EQ(sectionLines(), L"vesselStrike ");
  result.vesselStrikeScores.clear();
  EXPECT_EQ(sectionLines(), L"");
}

// The name of the mode does not count, only the data.
TEST(QueryJsonSection, NameOfTheModeMakesNoSection) {
  QueryResult result;
  result.gameMode = L"Frontier0";
  result.breach.basesMax = 1;
  const std::wstring json = BuildQueryJson(result);
  EXPECT_EQ(json.find(L"\"frontier\""), std::wstring::npos);
  EXPECT_NE(json.find(L"\"breach\""), std::wstring::npos);
}

TEST(QueryJsonTeams, OneEmptyTeam) {
  QueryResult result;
  result.teams.resize(1);
  EXPECT_EQ(BuildQueryJson(result), WithTeams(L"    \"0\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 0,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"      }\n"
                                              L"    }\n"));
}

TEST(QueryJsonTeams, ThreeEmptyTeams) {
  QueryResult result;
  result.teams.resize(3);
  result.teams[1].faction = 5;
  result.teams[2].faction = 4;
  EXPECT_EQ(BuildQueryJson(result), WithTeams(L"    \"0\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 0,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"      }\n"
                                              L"    },\n"
                                              L"    \"1\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 5,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"      }\n"
                                              L"    },\n"
                                              L"    \"2\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 4,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"      }\n"
                                              L"    }\n"));
}

TEST(QueryJsonTeams, PlayersThatWereReadCountAndNotThoseAnnounced) {
  QueryResult result;
  result.teams.resize(1);
  result.teams[0].playerCount = 9;
  EXPECT_EQ(BuildQueryJson(result), WithTeams(L"    \"0\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 0,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"      }\n"
                                              L"    }\n"));
}

TEST(QueryJsonTeams, TwoTeamsWithPlayers) {
  QueryResult result;
  result.teams.resize(2);
  result.teams[1].faction = 6;
  PlayerRecord first;
  first.playerId = 2001;
  first.name = L"Ann";
  first.tag = L"AAA";
  first.rank = 1;
  first.score = 2;
  first.kills = 3;
  first.deaths = 4;
  first.squad = 5;
  first.role = 6;
  PlayerRecord second;
  second.playerId = 1001;
  second.name = L"Bob";
  second.tag = L"";
  second.rank = 300;
  second.score = 70000;
  second.kills = 301;
  second.deaths = 302;
  second.squad = 7;
  second.role = 8;
  result.teams[0].players = {first, second};
  result.teams[1].players = {first};
  EXPECT_EQ(BuildQueryJson(result), WithTeams(L"    \"0\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 0,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"        \"2001\":\n"
                                              L"        {\n"
                                              L"          \"name\": \"Ann\",\n"
                                              L"          \"tag\": \"AAA\",\n"
                                              L"          \"rank\": 1,\n"
                                              L"          \"score\": 2,\n"
                                              L"          \"kills\": 3,\n"
                                              L"          \"deaths\": 4,\n"
                                              L"          \"squad\": 5,\n"
                                              L"          \"role\": 6 \n"
                                              L"        },\n"
                                              L"        \"1001\":\n"
                                              L"        {\n"
                                              L"          \"name\": \"Bob\",\n"
                                              L"          \"tag\": \"\",\n"
                                              L"          \"rank\": 300,\n"
                                              L"          \"score\": 70000,\n"
                                              L"          \"kills\": 301,\n"
                                              L"          \"deaths\": 302,\n"
                                              L"          \"squad\": 7,\n"
                                              L"          \"role\": 8 \n"
                                              L"        }\n"
                                              L"      }\n"
                                              L"    },\n"
                                              L"    \"1\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 6,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"        \"2001\":\n"
                                              L"        {\n"
                                              L"          \"name\": \"Ann\",\n"
                                              L"          \"tag\": \"AAA\",\n"
                                              L"          \"rank\": 1,\n"
                                              L"          \"score\": 2,\n"
                                              L"          \"kills\": 3,\n"
                                              L"          \"deaths\": 4,\n"
                                              L"          \"squad\": 5,\n"
                                              L"          \"role\": 6 \n"
                                              L"        }\n"
                                              L"      }\n"
                                              L"    }\n"));
}

TEST(QueryJsonTeams, SixtyFourPlayers) {
  QueryResult result;
  result.teams.resize(1);
  std::wstring expected =
      L"    \"0\":\n"
      L"    {\n"
      L"      \"faction\": 0,\n"
      L"      \"players\":  \n"
      L"      {\n";
  // Longer than names are, so that more memory is needed than was expected.
  const std::wstring name(2000, L'n');
  for (std::uint16_t i = 0; i < 64; ++i) {
    PlayerRecord player = MakePlayer(1000U + i);
    player.name = name;
    player.kills = i;
    result.teams[0].players.push_back(player);
    expected += L"        \"" + std::to_wstring(1000 + i) + L"\":\n" +
                L"        {\n"
                L"          \"name\": \"" +
                name +
                L"\",\n"
                L"          \"tag\": \"\",\n"
                L"          \"rank\": 0,\n"
                L"          \"score\": 0,\n"
                L"          \"kills\": " +
                std::to_wstring(i) +
                L",\n"
                L"          \"deaths\": 0,\n"
                L"          \"squad\": 0,\n"
                L"          \"role\": 0 \n" +
                (i < 63 ? L"        },\n" : L"        }\n");
  }
  expected +=
      L"      }\n"
      L"    }\n";
  EXPECT_EQ(BuildQueryJson(result), WithTeams(expected));
}

// Such texts ask for exactly the memory that they need.
TEST(QueryJsonTeams, HugeNameAndTag) {
  QueryResult result;
  result.teams.resize(1);
  const std::wstring name(100000, L'n');
  const std::wstring tag(100000, L't');
  PlayerRecord player = MakePlayer(18446744073709551615U);
  player.name = name;
  player.tag = tag;
  player.rank = 65535;
  player.score = 4294967295U;
  player.kills = 65535;
  player.deaths = 65535;
  player.squad = 255;
  player.role = 255;
  result.teams[0].players = {player};
  EXPECT_EQ(BuildQueryJson(result), WithTeams(L"    \"0\":\n"
                                              L"    {\n"
                                              L"      \"faction\": 0,\n"
                                              L"      \"players\":  \n"
                                              L"      {\n"
                                              L"        \"18446744073709551615\":\n"
                                              L"        {\n"
                                              L"          \"name\": \"" +
                                              name +
                                              L"\",\n"
                                              L"          \"tag\": \"" +
                                              tag +
                                              L"\",\n"
                                              L"          \"rank\": 65535,\n"
                                              L"          \"score\": 4294967295,\n"
                                              L"          \"kills\": 65535,\n"
                                              L"          \"deaths\": 65535,\n"
                                              L"          \"squad\": 255,\n"
                                              L"          \"role\": 255 \n"
                                              L"        }\n"
                                              L"      }\n"
                                              L"    }\n"));
}

TEST(QueryJsonTeams, AHundredAndTwentyEightTeams) {
  QueryResult result;
  result.teams.resize(128);
  std::wstring expected;
  for (int i = 0; i < 128; ++i) {
    expected += L"    \"" + std::to_wstring(i) + L"\":\n" +
                L"    {\n"
                L"      \"faction\": 0,\n"
                L"      \"players\":  \n"
                L"      {\n"
                L"      }\n" +
                (i < 127 ? L"    },\n" : L"    }\n");
  }
  EXPECT_EQ(BuildQueryJson(result), WithTeams(expected));
}

TEST(QueryJson, SectionStandsBetweenHeaderAndTeams) {
  QueryResult result;
  result.status = L"ERROR_MARSHALLING_EXCEPTION";
  result.frontierScores[1] = {2, 3};
  result.teams.resize(1);
  EXPECT_EQ(BuildQueryJson(result),
            L"{\n"
            L"  \"status\": \"ERROR_MARSHALLING_EXCEPTION\", \n"
            L"  \"platform\": \"0\", \n"
            L"  \"persistedIdPart1\": \"0\", \n"
            L"  \"persistedIdPart2\": \"0\", \n"
            L"  \"gameId\": \"0\", \n"
            L"  \"gameMode\": \"\", \n"
            L"  \"mapVariant\": 0,\n"
            L"  \"currentMap\": \"\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 0,\n"
            L"  \"waitingPlayers\": 0,\n"
            L"  \"frontier\": \n"
            L"  {\n"
            L"    \"1\":\n"
            L"    {\n"
            L"          \"tickets\": 2,\n"
            L"          \"ticketsMax\": 3\n"
            L"        }\n"
            L"    },\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"    \"0\":\n"
            L"    {\n"
            L"      \"faction\": 0,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

}  // namespace
}  // namespace launcher
