#include "query/query_json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "tests/unit/response_bytes.h"

namespace launcher {
namespace {

// Between the header of a result in which everything is zero or empty and what follows a section.
std::wstring Text(const std::wstring& section, const std::wstring& teams = L"") {
  return L"{\n"
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
         L"  \"waitingPlayers\": 0,\n" +
         section +
         L"  \"teamInfo\": \n"
         L"  {\n" +
         teams +
         L"  }\n"
         L"}\n";
}

TEST(QueryJson, EmptyResult) { EXPECT_EQ(QueryJson(QueryResult()), Text(L"")); }

TEST(QueryJson, Statuses) {
  EXPECT_EQ(StatusText(QueryStatus::kNone), L"");
  EXPECT_EQ(StatusText(QueryStatus::kSuccess), L"SUCCESS");
  EXPECT_EQ(StatusText(QueryStatus::kConnectFailed), L"ERROR_CONNECT_FAILED");
  EXPECT_EQ(StatusText(QueryStatus::kInvalidArgument), L"ERROR_CONNECT_INVALID_ARGUMENT");
  EXPECT_EQ(StatusText(QueryStatus::kSendFailed), L"ERROR_SENDTO_FAILED");
  EXPECT_EQ(StatusText(QueryStatus::kSelectFailed), L"ERROR_SELECT_FAILED_OR_TIMEDOUT");
  EXPECT_EQ(StatusText(QueryStatus::kReceiveFailed), L"ERROR_RECVFROM_FAILED");
  EXPECT_EQ(StatusText(QueryStatus::kMarshallingException), L"ERROR_MARSHALLING_EXCEPTION");
  EXPECT_EQ(StatusText(QueryStatus::kProtocolVersion), L"ERROR_PROTOCOL_VERSION");
  EXPECT_EQ(StatusText(QueryStatus::kTeamsAndPlayers), L"ERROR_MARSHALLING_TEAMS_AND_PLAYERS");
  EXPECT_EQ(StatusText(QueryStatus::kUnknownGameMode), L"UNKNOWN_GAME_MODE");
}

// Every field at its largest (numbers of eight bits are no characters), texts as they are.
TEST(QueryJson, EveryField) {
  QueryResult result;
  result.status = QueryStatus::kSuccess;
  result.platform = 255;
  result.persistedIdPart1 = 18446744073709551615U;
  result.persistedIdPart2 = 18446744073709551614U;
  result.gameId = 10000000000000000000U;
  result.gameMode = L"c\\d\",\"{";
  result.mapVariant = 65;
  result.currentMap = L"e\nf\t}";
  result.roundTime = 4294967295U;
  result.defaultRoundTimeMultiplier = 4294967294U;
  result.maxPlayers = 254;
  result.waitingPlayers = 34;
  result.frontierScores[1] = {2, 3};
  result.teams.resize(1);
  result.teams[0].faction = 253;
  result.teams[0].players = {{18446744073709551615U, L"Zo\u00EB \"\\\n{", L"}\u20AC\x01", 65535,
                              4294967295U, 65534, 65533, 252, 251}};
  EXPECT_EQ(QueryJson(result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"255\", \n"
            L"  \"persistedIdPart1\": \"18446744073709551615\", \n"
            L"  \"persistedIdPart2\": \"18446744073709551614\", \n"
            L"  \"gameId\": \"10000000000000000000\", \n"
            L"  \"gameMode\": \"c\\d\",\"{\", \n"
            L"  \"mapVariant\": 65,\n"
            L"  \"currentMap\": \"e\nf\t}\", \n"
            L"  \"roundTime\": \"4294967295\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"4294967294\", \n"
            L"  \"maxPlayers\": 254,\n"
            L"  \"waitingPlayers\": 34,\n"
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
            L"      \"faction\": 253,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"18446744073709551615\":\n"
            L"        {\n"
            L"          \"name\": \"Zo\u00EB \"\\\n{\",\n"
            L"          \"tag\": \"}\u20AC\x01\",\n"
            L"          \"rank\": 65535,\n"
            L"          \"score\": 4294967295,\n"
            L"          \"kills\": 65534,\n"
            L"          \"deaths\": 65533,\n"
            L"          \"squad\": 252,\n"
            L"          \"role\": 251 \n"
            L"        }\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

// Of each kind one whose order, commas and largest numbers show.
TEST(QueryJson, Sections) {
  struct Section {
    std::function<void(QueryResult&)> fill;
    std::wstring text;
  };
  const Section sections[] = {
      {[](QueryResult& result) {
         result.frontierScores = {{200, {65535, 65534}}, {0, {0, 1}}};
       },
       L"  \"frontier\": \n  {\n"
       L"    \"0\":\n    {\n"
       L"          \"tickets\": 0,\n          \"ticketsMax\": 1\n        },\n"
       L"    \"200\":\n    {\n"
       L"          \"tickets\": 65535,\n          \"ticketsMax\": 65534\n        }\n"
       L"    },\n"},
      {[](QueryResult& result) {
         result.killraceScores = {{2, {65535, 100}}, {1, {20, 99}}};
       },
       L"  \"killrace\": \n  {\n"
       L"    \"1\":\n    {\n"
       L"          \"kills\": 20,\n          \"killsMax\": 99\n        },\n"
       L"    \"2\":\n    {\n"
       L"          \"kills\": 65535,\n          \"killsMax\": 100\n        }\n"
       L"  },\n"},
      {[](QueryResult& result) { result.breach = {65, 66, 300, 65535, 255, 1}; },
       L"  \"breach\": \n  {\n"
       L"    \"attackers\": \n    {\n"
       L"          \"team\": 65,\n          \"tickets\": 300,\n          \"ticketsMax\": 65535\n"
       L"    },\n"
       L"    \"defenders\": \n    {\n"
       L"          \"team\": 66,\n          \"bases\": 255,\n          \"basesMax\": 1\n"
       L"    }\n"
       L"  },\n"},
      {[](QueryResult& result) { result.breach = {1, 2, 75, 100, 3, 0}; }, L""},
      {[](QueryResult& result) { result.maxArmsLadderLevel = 1; },
       L"  \"armsLadder\": \n  {\n"
       L"    \"maxArmsLadderLevel\": 1,\n    \"players\": \n    {\n    }\n"
       L"  },\n"},
      {[](QueryResult& result) {
         result.maxArmsLadderLevel = 255;
         result.armsLadderPlayers = {{18446744073709551615U, 65}, {7, 255}};
       },
       L"  \"armsLadder\": \n  {\n"
       L"    \"maxArmsLadderLevel\": 255,\n    \"players\": \n    {\n"
       L"        \"18446744073709551615\":65,\n        \"7\":255\n    }\n"
       L"  },\n"},
      {[](QueryResult& result) {
         result.seizeTheBannerScores = {{9, {1, 2, 65535}}, {8, {65535, 65534, 5}}};
       },
       L"  \"seizeTheBanner\": \n  {\n"
       L"    \"8\":\n    {\n          \"flags\": 65535,\n          \"flagsMax\": 65534,\n"
       L"\t\t  \"roundTimeMax\": 5\n        },\n"
       L"    \"9\":\n    {\n          \"flags\": 1,\n          \"flagsMax\": 2,\n"
       L"\t\t  \"roundTimeMax\": 65535\n        }\n"
       L"    },\n"},
      {[](QueryResult& result) {
         result.vesselStrikeScores = {{255, {255, 65535}}, {10, {65, 1}}};
       },
       L"  \"vesselStrike\": \n  {\n"
       L"    \"10\":\n    {\n"
       L"          \"explodedCrates\": 65,\n          \"vesselHealth\": 1\n        },\n"
       L"    \"255\":\n    {\n"
       L"          \"explodedCrates\": 255,\n          \"vesselHealth\": 65535\n        }\n"
       L"    },\n"},
  };
  for (const Section& section : sections) {
    QueryResult result;
    section.fill(result);
    EXPECT_EQ(QueryJson(result), Text(section.text));
  }
}

// Data of all kinds at once never come from a server; what is taken away here leaves the next. The
// name of the mode does not count.
TEST(QueryJson, FirstKindThatHoldsDataIsTheOnlyOne) {
  QueryResult result;
  result.gameMode = L"VesselStrike";
  result.frontierScores[1] = {1, 2};
  result.killraceScores[1] = {3, 4};
  result.breach.basesMax = 5;
  result.maxArmsLadderLevel = 6;
  result.seizeTheBannerScores[1] = {7, 8, 9};
  result.vesselStrikeScores[1] = {10, 11};
  const auto sections = [&] {
    const std::wstring json = QueryJson(result);
    std::wstring found;
    for (const wchar_t* kind :
         {L"frontier", L"killrace", L"breach", L"armsLadder", L"seizeTheBanner", L"vesselStrike"}) {
      const std::wstring line = L"\n  \"" + std::wstring(kind) + L"\": \n  {\n";
      if (json.find(line) != std::wstring::npos) found += kind;
    }
    return found;
  };
  EXPECT_EQ(sections(), L"frontier");
  result.frontierScores.clear();
  EXPECT_EQ(sections(), L"killrace");
  result.killraceScores.clear();
  EXPECT_EQ(sections(), L"breach");
  result.breach.basesMax = 0;
  EXPECT_EQ(sections(), L"armsLadder");
  result.maxArmsLadderLevel = 0;
  EXPECT_EQ(sections(), L"seizeTheBanner");
  result.seizeTheBannerScores.clear();
  EXPECT_EQ(sections(), L"vesselStrike");
  result.vesselStrikeScores.clear();
  EXPECT_EQ(sections(), L"");
}

// The players that were read count, not the number that the server announced.
TEST(QueryJson, TeamsAndTheirPlayers) {
  const auto player = [](const wchar_t* id) {
    return L"        \"" + std::wstring(id) +
           L"\":\n        {\n          \"name\": \"\",\n          \"tag\": \"\",\n"
           L"          \"rank\": 0,\n          \"score\": 0,\n          \"kills\": 0,\n"
           L"          \"deaths\": 0,\n          \"squad\": 0,\n          \"role\": 0 \n";
  };
  QueryResult result;
  result.teams.resize(3);
  result.teams[0].playerCount = 9;
  result.teams[1].faction = 6;
  result.teams[1].players.resize(2);
  result.teams[1].players[0].playerId = 2001;
  result.teams[1].players[1].playerId = 1001;
  result.teams[2].faction = 5;
  EXPECT_EQ(QueryJson(result),
            Text(L"",
                 L"    \"0\":\n    {\n      \"faction\": 0,\n      \"players\":  \n      {\n"
                 L"      }\n    },\n"
                 L"    \"1\":\n    {\n      \"faction\": 6,\n      \"players\":  \n      {\n" +
                     player(L"2001") + L"        },\n" + player(L"1001") +
                     L"        }\n"
                     L"      }\n    },\n"
                     L"    \"2\":\n    {\n      \"faction\": 5,\n      \"players\":  \n"
                     L"      {\n      }\n    }\n"));
}

// More than the first guess has room for.
TEST(QueryJson, LongTextsAreWhole) {
  const std::wstring mode(255, L'g');
  const std::wstring name(255, L'n');
  QueryResult result;
  result.gameMode = mode;
  result.currentMap = std::wstring(255, L'm');
  result.teams.resize(1);
  for (std::uint64_t id = 0; id < 64; ++id) {
    result.teams[0].players.push_back({id, name, name, 1, 2, 3, 4, 5, 6});
  }
  EventFields fields;
  fields.source = L"request";
  fields.arguments[0] = L"text";
  const EventPtr event = MakeQueryEvent(fields, result);
  EXPECT_EQ(event->GetSource(), std::wstring(L"request"));
  EXPECT_EQ(event->GetArg0(), std::wstring(L"text"));
  const std::wstring json = event->GetArg1();
  EXPECT_NE(json.find(L"\"" + mode + L"\", \n"), std::wstring::npos);
  EXPECT_NE(json.find(L"        \"63\":\n        {\n          \"name\": \"" + name + L"\",\n"),
            std::wstring::npos);
  EXPECT_TRUE(json.ends_with(L"          \"role\": 6 \n        }\n      }\n    }\n  }\n}\n"));
}

}  // namespace
}  // namespace launcher
