#include "query/query_response.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/log_capture.h"
#include "tests/unit/response_bytes.h"

namespace launcher {
namespace {

// What comes before the name of the mode in a response of version 10 whose server is not in a round.
const Bytes kHeader{
    0x0A,                                            // version 10
    0x01,                                            // serverState 1
    0x02,                                            // platform 2
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03,  // persistedIdPart1 3
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04,  // persistedIdPart2 4
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05,  // gameId 5
};

// What follows the mode's section in a response without players.
const Bytes kTail{
    0x01, 'M',  // currentMap "M"
    0x40,       // maxPlayers 64
    0x07,       // waitingPlayers 7
    0x80,       // no teams
};

// The name of the mode, the map's variant 6 and the section with a length of its own.
Bytes ModeAndSection(const std::string& mode, std::size_t sectionLength, const Bytes& section) {
  return Join({{static_cast<std::uint8_t>(mode.size())},
               Ascii(mode),
               {0x06, static_cast<std::uint8_t>(sectionLength)},
               section});
}

Decoded DecodeSection(const std::string& mode, std::size_t sectionLength, const Bytes& section) {
  return Decode(Join({kHeader, ModeAndSection(mode, sectionLength, section), kTail}));
}

// A response without a section or a map; `teams` begins with the number of teams.
Decoded DecodeTeams(const std::vector<Bytes>& teams) {
  Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), {0x00, 0x40, 0x07}});
  for (const Bytes& part : teams) response = Join({response, part});
  Decoded decoded = Decode(response);
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(decoded.result.status, QueryStatus::kSuccess);
  return decoded;
}

const Bytes kPlayerNumbers{
    0x00, 0x01,              // rank
    0x00, 0x00, 0x00, 0x02,  // score
    0x00, 0x03,              // kills
    0x00, 0x04,              // deaths
    0x05, 0x06,              // squad, role
};

// A player and its two texts, each with its length.
Bytes Player(std::uint8_t id, const Bytes& name, const Bytes& tag) {
  return Join({{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, id},
               {static_cast<std::uint8_t>(name.size())},
               name,
               {static_cast<std::uint8_t>(tag.size())},
               tag,
               kPlayerNumbers});
}

// That what follows the section was found at its place.
void ExpectTail(const Decoded& decoded) {
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, QueryStatus::kSuccess);
  EXPECT_EQ(decoded.result.currentMap, L"M");
  EXPECT_EQ(decoded.result.maxPlayers, 64);
  EXPECT_EQ(decoded.result.waitingPlayers, 7);
  EXPECT_EQ(decoded.result.teams.size(), 0U);
}

// A whole response of version 10 in a round, with players, and the JSON that it gives.
TEST(QueryResponse, Version10WithPlayers) {
  const Bytes response{
      0x0A,                                               // version 10
      0x03,                                               // serverState 3
      0x02,                                               // platform 2
      0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,     // persistedIdPart1
      0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,     // persistedIdPart2
      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,     // gameId
      0x09, 'F', 'r', 'o', 'n', 't', 'i', 'e', 'r', '0',  // gameMode "Frontier0"
      0x04,                                               // mapVariant 4
      0x0A,                                               // sectionLength 10
      0x02, 0x01, 0x02, 0x01, 0x90,                       // team 2: tickets 258, ticketsMax 400
      0x01, 0x00, 0xFF, 0x03, 0xE8,                       // team 1: tickets 255, ticketsMax 1000
      0x04, 'M', 'P', '_', '1',                           // currentMap "MP_1"
      0x00, 0x00, 0x04, 0xB0,                             // roundTime 1200
      0x00, 0x01, 0x00, 0x64,                             // defaultRoundTimeMultiplier 65636
      0x40,                                               // maxPlayers 64
      0x05,                                               // waitingPlayers 5
      0x01,                                               // two teams
      0x01,                                               // players of team 0: 1
      0x01,                                               // players of team 1: 1
      0x06,                                               // faction of team 1: 6
      // team 0
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x01,  // playerId 4097
      0x03, 'A', 'n', 'n',                             // name "Ann"
      0x02, 'A', 'A',                                  // tag "AA"
      0x01, 0x2C,                                      // rank 300
      0x00, 0x01, 0x11, 0x70,                          // score 70000
      0x01, 0x01,                                      // kills 257
      0x02, 0x02,                                      // deaths 514
      0x03,                                            // squad 3
      0x02,                                            // role 2
      // team 1
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x02,  // playerId 4098
      0x03, 'B', 'o', 'b',                             // name "Bob"
      0x00,                                            // tag ""
      0x00, 0x01,                                      // rank 1
      0x00, 0x00, 0x00, 0x02,                          // score 2
      0x00, 0x03,                                      // kills 3
      0x00, 0x04,                                      // deaths 4
      0x05,                                            // squad 5
      0x06,                                            // role 6
  };
  LogCapture log;
  const Decoded decoded = Decode(response);
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(log.Take(), "");
  EXPECT_EQ(QueryJson(decoded.result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"2\", \n"
            L"  \"persistedIdPart1\": \"72623859790382856\", \n"
            L"  \"persistedIdPart2\": \"1230066625199609624\", \n"
            L"  \"gameId\": \"18446744073709551615\", \n"
            L"  \"gameMode\": \"Frontier0\", \n"
            L"  \"mapVariant\": 4,\n"
            L"  \"currentMap\": \"MP_1\", \n"
            L"  \"roundTime\": \"1200\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"65636\", \n"
            L"  \"maxPlayers\": 64,\n"
            L"  \"waitingPlayers\": 5,\n"
            L"  \"frontier\": \n"
            L"  {\n"
            L"    \"1\":\n"
            L"    {\n"
            L"          \"tickets\": 255,\n"
            L"          \"ticketsMax\": 1000\n"
            L"        },\n"
            L"    \"2\":\n"
            L"    {\n"
            L"          \"tickets\": 258,\n"
            L"          \"ticketsMax\": 400\n"
            L"        }\n"
            L"    },\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"    \"0\":\n"
            L"    {\n"
            L"      \"faction\": 0,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"4097\":\n"
            L"        {\n"
            L"          \"name\": \"Ann\",\n"
            L"          \"tag\": \"AA\",\n"
            L"          \"rank\": 300,\n"
            L"          \"score\": 70000,\n"
            L"          \"kills\": 257,\n"
            L"          \"deaths\": 514,\n"
            L"          \"squad\": 3,\n"
            L"          \"role\": 2 \n"
            L"        }\n"
            L"      }\n"
            L"    },\n"
            L"    \"1\":\n"
            L"    {\n"
            L"      \"faction\": 6,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"4098\":\n"
            L"        {\n"
            L"          \"name\": \"Bob\",\n"
            L"          \"tag\": \"\",\n"
            L"          \"rank\": 1,\n"
            L"          \"score\": 2,\n"
            L"          \"kills\": 3,\n"
            L"          \"deaths\": 4,\n"
            L"          \"squad\": 5,\n"
            L"          \"role\": 6 \n"
            L"        }\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryResponse, BytesAfterAResponseDoNotCount) {
  const Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), kTail});
  const Decoded decoded = Decode(Join({response, {0x01, 0x02, 0x03}}));
  ExpectTail(decoded);
  EXPECT_EQ(decoded.consumed, response.size());
}

TEST(QueryResponse, VersionsOtherThan3To10AreRefused) {
  for (const auto& [version, shown] : {std::pair(0x00, "00"), std::pair(0x02, "02"),
                                       std::pair(0x0B, "0b"), std::pair(0xFF, "ff")}) {
    LogCapture log;
    const Decoded decoded = Decode(Bytes{static_cast<std::uint8_t>(version)});
    EXPECT_FALSE(decoded.cutShort);
    EXPECT_EQ(decoded.result.status, QueryStatus::kProtocolVersion);
    EXPECT_EQ(log.Take(),
              std::string("AppLauncher::QueryParseResponse: Query response has unexpected protocol "
                          "version of ") +
                  shown + " (expected 03 - 09)\n");
  }
}

TEST(QueryResponse, RoundTimesAreSentInState3Alone) {
  for (const int state : {0, 1, 2, 4, 0x83, 0xFF}) {
    Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), kTail});
    response[1] = static_cast<std::uint8_t>(state);
    const Decoded decoded = Decode(response);
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.roundTime, 0U) << state;
    EXPECT_EQ(decoded.result.defaultRoundTimeMultiplier, 0U) << state;
  }
}

// Lengths and counts of sections. The section is decoded as it is, whatever its length says.
TEST(QueryResponse, Sections) {
  struct Section {
    const char* mode;
    std::size_t length;
    Bytes bytes;
    std::function<void(QueryResult&)> fill;
  };
  const auto none = [](QueryResult&) {};
  const Bytes five{0x01, 0x00, 0x02, 0x00, 0x03};
  const Bytes seven{0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x04};
  const Bytes four{0x01, 0x00, 0x02, 0x00};
  const auto frontier = [](QueryResult& to) { to.frontierScores[1] = {2, 3}; };
  const auto killrace = [](QueryResult& to) { to.killraceScores[1] = {2, 3}; };
  const auto banner = [](QueryResult& to) { to.seizeTheBannerScores[1] = {2, 3, 4}; };
  const auto vessel = [](QueryResult& to) { to.vesselStrikeScores[1] = {0, 0x0200}; };
  const Bytes breachBytes{0x01, 0x02, 0x00, 0x03, 0x00, 0x04, 0x05, 0x06};
  const auto breach = [](QueryResult& to) { to.breach = {1, 2, 3, 4, 5, 6}; };
  const Bytes ladderBytes{0x05, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07, 0x02};
  const auto ladder = [](QueryResult& to) {
    to.maxArmsLadderLevel = 5;
    to.armsLadderPlayers = {{7, 2}};
  };
  std::vector<Section> sections{
      // The rest that holds no whole entry stays, for the map.
      {"Frontier", 4, {}, none},
      {"Frontier", 7, five, frontier},
      {"Frontier", 9, five, frontier},
      {"Killrace", 4, {}, none},
      {"Killrace", 6, five, killrace},
      {"Killrace", 9, five, killrace},
      {"SeizeTheBanner", 6, {}, none},
      {"SeizeTheBanner", 8, seven, banner},
      {"SeizeTheBanner", 13, seven, banner},
      {"VesselStrike", 3, {}, none},
      {"VesselStrike", 5, four, vessel},
      {"VesselStrike", 7, four, vessel},
      // Fixed layouts.
      {"Breach", 1, breachBytes, breach},
      {"Breach", 9, breachBytes, breach},
      {"Breach", 255, breachBytes, breach},
      {"ArmsLadder", 1, ladderBytes, ladder},
      {"ArmsLadder", 200, ladderBytes, ladder},
      {"ArmsLadder", 2, {0x05, 0x00}, [](QueryResult& to) { to.maxArmsLadderLevel = 5; }},
      // Without a section the name does not count.
      {"Breach", 0, {}, none},
      {"ArmsLadder", 0, {}, none},
  };
  // The most entries.
  sections.push_back({"Frontier", 255, {}, none});
  sections.push_back({"ArmsLadder", 2, {0x05, 0xFF}, none});
  for (std::uint8_t i = 0; i < 255; ++i) {
    if (i < 51) {
      sections.end()[-2].bytes = Join({sections.end()[-2].bytes, {i, 0x00, i, 0x00, 0x64}});
    }
    sections.back().bytes = Join({sections.back().bytes, {0, 0, 0, 0, 0, 0, 0, i, i}});
  }
  sections.end()[-2].fill = [](QueryResult& to) {
    for (std::uint8_t i = 0; i < 51; ++i) to.frontierScores[i] = {i, 100};
  };
  sections.back().fill = [](QueryResult& to) {
    to.maxArmsLadderLevel = 5;
    for (std::uint8_t i = 0; i < 255; ++i) to.armsLadderPlayers.push_back({i, i});
  };
  for (const Section& section : sections) {
    SCOPED_TRACE(section.mode + std::string(" ") + std::to_string(section.length));
    LogCapture log;
    const Decoded decoded = DecodeSection(section.mode, section.length, section.bytes);
    ExpectTail(decoded);
    QueryResult expected = std::move(DecodeSection(section.mode, 0, {}).result);
    section.fill(expected);
    EXPECT_EQ(QueryJson(decoded.result), QueryJson(expected));
    EXPECT_EQ(log.Take(), "");
  }
}

TEST(QueryResponse, RestOfAFrontierSectionBeginsTheMap) {
  const Decoded decoded =
      Decode(Join({kHeader,
                   ModeAndSection("Frontier0", 7, {0x01, 0x00, 0x0A, 0x00, 0x14}),
                   {0x03, 'a'},                      // the rest of the section
                   {'b', 'c', 0x40, 0x07, 0x80}}));  // the map goes on
  EXPECT_EQ(decoded.result.frontierScores.at(1).ticketsMax, 20);
  EXPECT_EQ(decoded.result.currentMap, L"abc");
  EXPECT_EQ(decoded.result.maxPlayers, 64);
}

// Skipped, logged and forgotten; the case of a name counts.
TEST(QueryResponse, UnknownModes) {
  for (const auto& [mode, length] : {std::pair("Chess", 3), std::pair("Chess", 255),
                                     std::pair("Zo\xC3\xAB", 1), std::pair("frontier0", 5)}) {
    LogCapture log;
    const auto size = static_cast<std::size_t>(length);
    const Decoded decoded = DecodeSection(mode, size, Bytes(size, 0xFF));
    ExpectTail(decoded);
    EXPECT_EQ(log.Take(),
              "AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: " + std::string(mode) + "\n");
    EXPECT_EQ(QueryJson(decoded.result), QueryJson(DecodeSection(mode, 0, {}).result));
  }
}

TEST(QueryResponse, NumbersThatChooseTheJsonsSectionAreClearedBefore) {
  Decoded decoded;
  decoded.result.breach.basesMax = 4;
  decoded.result.maxArmsLadderLevel = 20;
  DecodeInto(decoded, Join({kHeader, ModeAndSection("Frontier", 0, {}), kTail}));
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.breach.basesMax, 0);
  EXPECT_EQ(decoded.result.maxArmsLadderLevel, 0);
}

// One more than the byte says, of which all but the first have a faction; from 0x80 on none.
TEST(QueryResponseTeams, CountByte) {
  for (const auto& [byte, count] :
       {std::pair(0x00, 1), std::pair(0x7F, 128), std::pair(0x80, 0), std::pair(0xFF, 0)}) {
    Bytes factions;
    for (int i = 1; i < count; ++i) factions.push_back(static_cast<std::uint8_t>(i));
    const Decoded decoded = DecodeTeams(
        {{static_cast<std::uint8_t>(byte)}, Bytes(static_cast<std::size_t>(count), 0), factions});
    ASSERT_EQ(decoded.result.teams.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(decoded.result.teams[static_cast<std::size_t>(i)].faction, i);
    }
  }
}

TEST(QueryResponseTeams, MostPlayersWithLongTexts) {
  std::vector<Bytes> parts{{0x00, 0xFF}};  // one team with 255 players
  for (int i = 0; i < 255; ++i) parts.push_back(Player(1, Bytes(100, 'n'), Bytes(80, 't')));
  const Decoded decoded = DecodeTeams(parts);
  ASSERT_EQ(decoded.result.teams[0].players.size(), 255U);
  for (const PlayerRecord& record : decoded.result.teams[0].players) {
    EXPECT_EQ(record.name, std::wstring(100, L'n'));
    EXPECT_EQ(record.tag, std::wstring(80, L't'));
  }
}

// Servers cannot bring this about; a record that is not fresh can. Reading ends at that team.
TEST(QueryResponseTeams, PlayersThatDoNotMatchTheirCount) {
  LogCapture log;
  Decoded decoded;
  decoded.result.teams.resize(3);
  decoded.result.teams[1].players.resize(2);
  // Its player is not in the response.
  decoded.result.teams[2].playerCount = 1;
  DecodeInto(decoded, Join({kHeader, ModeAndSection("C", 0, {}), kTail}));
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, QueryStatus::kTeamsAndPlayers);
  EXPECT_EQ(decoded.result.teams[2].players.size(), 0U);
  EXPECT_EQ(log.Take(),
            "AppLauncher::QueryParseResponse: Marshalling error, number of players in team 1 "
            "doesn't match number of players parsed (0 != 2)\n");
}

// A zero ends a text and not its reading, UTF-8 becomes wide, an invalid byte is replaced. The texts
// of all players lie one after the other in memory, and outlive a move of the record.
TEST(QueryResponseTexts, OfPlayers) {
  Decoded decoded = DecodeTeams({{0x00, 0x02},
                                 Player(1, Ascii({"Anna\0Bert", 9}), {'a', 0xFF, 'b'}),
                                 Player(2, {0x00, 'x'}, {0xC3, 0xAB, 0xF0, 0x9F, 0x98, 0x80})});
  const QueryResult moved = std::move(decoded.result);
  const auto& players = moved.teams[0].players;
  ASSERT_EQ(players.size(), 2U);
  EXPECT_EQ(players[0].name, L"Anna");
  EXPECT_EQ(players[0].tag, L"a\uFFFDb");
  EXPECT_EQ(players[1].name, L"");
  EXPECT_EQ(players[1].tag, L"\u00EB\U0001F600");
}

TEST(QueryResponseTexts, OfModeAndMap) {
  const Decoded longest = Decode(Join({kHeader,
                                       {0xFF},
                                       Bytes(255, 'g'),
                                       {0x06, 0x00},
                                       {0xFF},
                                       Bytes(255, 'm'),
                                       {0x40, 0x07, 0x80}}));
  EXPECT_EQ(longest.result.status, QueryStatus::kSuccess);
  EXPECT_EQ(longest.result.gameMode, std::wstring(255, L'g'));
  EXPECT_EQ(longest.result.currentMap, std::wstring(255, L'm'));

  const Decoded other = Decode(Join({kHeader,
                                     {0x05, 'a', 0xFF, 0x00, 'c', 'd', 0x06, 0x00},
                                     {0x03, 0xE2, 0x82, 0xAC, 0x40, 0x07, 0x80}}));
  EXPECT_EQ(other.result.gameMode, L"a\uFFFD");
  EXPECT_EQ(other.result.mapVariant, 6);
  EXPECT_EQ(other.result.currentMap, L"\u20AC");
}

}  // namespace
}  // namespace launcher
