#include "query/query_response.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "query/query_json.h"
#include "tests/unit/log_capture.h"
#include "tests/unit/response_bytes.h"

namespace launcher {
namespace {

// What stands before the name of the mode in a response of version 10 whose server is not in a
// round.
const Bytes kHeader{
    0x0A,                                            // version 10
    0x01,                                            // serverState 1
    0x02,                                            // platform 2
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03,  // persistedIdPart1 3
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04,  // persistedIdPart2 4
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05,  // gameId 5
};

// What stands behind the mode's section in a response without players.
const Bytes kTail{
    0x01, 'M',  // currentMap "M"
    0x40,       // maxPlayers 64
    0x07,       // waitingPlayers 7
    0x80,       // no teams
};

// The name of the mode, the map's variant 6 and the section with a length of its own.
Bytes ModeAndSection(const std::string& mode, std::uint8_t sectionLength, const Bytes& section) {
  return Join(
      {{static_cast<std::uint8_t>(mode.size())}, Ascii(mode), {0x06, sectionLength}, section});
}

Decoded DecodeSection(const std::string& mode, std::uint8_t sectionLength, const Bytes& section) {
  return Decode(Join({kHeader, ModeAndSection(mode, sectionLength, section), kTail}));
}

// That what stands behind the section was found at its place.
void ExpectTail(const Decoded& decoded) {
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
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
  EXPECT_EQ(BuildQueryJson(decoded.result),
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

// The worked example of docs/formats.md.
TEST(QueryResponse, ExampleOfTheDocuments) {
  const Bytes response{
      0x0A,                                            // version 10
      0x03,                                            // serverState 3
      0x02,                                            // platform 2
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,  // persistedIdPart1
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02,  // persistedIdPart2
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07,  // gameId 7
      0x00,                                            // gameMode ""
      0x04,                                            // mapVariant 4
      0x00,                                            // no mode section
      0x01, 0x4D,                                      // currentMap "M"
      0x00, 0x00, 0x00, 0x3C,                          // roundTime 60
      0x00, 0x00, 0x00, 0x64,                          // defaultRoundTimeMultiplier 100
      0x40,                                            // maxPlayers 64
      0x05,                                            // waitingPlayers 5
      0x00,                                            // one team
      0x00,                                            // nobody in it
  };
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.consumed, 44U);
  EXPECT_EQ(BuildQueryJson(decoded.result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"2\", \n"
            L"  \"persistedIdPart1\": \"1\", \n"
            L"  \"persistedIdPart2\": \"2\", \n"
            L"  \"gameId\": \"7\", \n"
            L"  \"gameMode\": \"\", \n"
            L"  \"mapVariant\": 4,\n"
            L"  \"currentMap\": \"M\", \n"
            L"  \"roundTime\": \"60\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"100\", \n"
            L"  \"maxPlayers\": 64,\n"
            L"  \"waitingPlayers\": 5,\n"
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

TEST(QueryResponse, Version3HasTheFewestFields) {
  const Bytes response{
      0x03,                                            // version 3, no serverState, no platform
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05,  // gameId 5
      0x01, 'C',                                       // gameMode "C"
      0x06,                                            // mapVariant 6
      0x00,                                            // no section
      0x01, 'M',                                       // currentMap "M"
      0x40,                                            // maxPlayers 64
      0x07,                                            // waitingPlayers 7
      0x00,                                            // one team
      0x01,                                            // with one player
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x09,  // playerId 9
      0x01, 'n',                                       // name "n"
      0x01, 't',                                       // tag "t"
      0xC8,                                            // rank 200, one byte
      0x00, 0x00, 0x00, 0x01,                          // score 1
      0x00, 0x02,                                      // kills 2
      0x00, 0x03,                                      // deaths 3
      0x04,                                            // squad 4; no role
  };
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(BuildQueryJson(decoded.result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"0\", \n"
            L"  \"persistedIdPart1\": \"0\", \n"
            L"  \"persistedIdPart2\": \"0\", \n"
            L"  \"gameId\": \"5\", \n"
            L"  \"gameMode\": \"C\", \n"
            L"  \"mapVariant\": 6,\n"
            L"  \"currentMap\": \"M\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 64,\n"
            L"  \"waitingPlayers\": 7,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"    \"0\":\n"
            L"    {\n"
            L"      \"faction\": 0,\n"
            L"      \"players\":  \n"
            L"      {\n"
            L"        \"9\":\n"
            L"        {\n"
            L"          \"name\": \"n\",\n"
            L"          \"tag\": \"t\",\n"
            L"          \"rank\": 200,\n"
            L"          \"score\": 1,\n"
            L"          \"kills\": 2,\n"
            L"          \"deaths\": 3,\n"
            L"          \"squad\": 4,\n"
            L"          \"role\": 1 \n"
            L"        }\n"
            L"      }\n"
            L"    }\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryResponse, BytesBehindAResponseDoNotCount) {
  const Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), kTail});
  const Decoded decoded = Decode(Join({response, {0x01, 0x02, 0x03}}));
  ExpectTail(decoded);
  EXPECT_EQ(decoded.consumed, response.size());
}

TEST(QueryResponse, NothingReceived) {
  LogCapture log;
  const Decoded decoded = Decode({});
  EXPECT_TRUE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, L"");
  EXPECT_EQ(log.Take(),
            "NetMessage::SegmentRead: Attempting read 1 bytes from offset 0 from stream of 0 "
            "bytes\n");
}

TEST(QueryResponseVersion, OthersThan3To10AreRefused) {
  struct Refused {
    std::uint8_t version;
    const char* shown;
  };
  const Refused refused[] = {{0x00, "00"}, {0x02, "02"}, {0x0B, "0b"}, {0xFF, "ff"}};
  for (const Refused& other : refused) {
    SCOPED_TRACE(other.shown);
    LogCapture log;
    const Decoded decoded = Decode(Bytes(100, other.version));
    EXPECT_FALSE(decoded.cutShort);
    EXPECT_EQ(decoded.consumed, 1U);
    EXPECT_EQ(log.Take(),
              std::string("AppLauncher::QueryParseResponse: Query response has unexpected protocol "
                          "version of ") +
                  other.shown + " (expected 03 - 09)\n");
    EXPECT_EQ(BuildQueryJson(decoded.result),
              L"{\n"
              L"  \"status\": \"ERROR_PROTOCOL_VERSION\", \n"
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
}

TEST(QueryResponseVersion, RefusedVersionAloneIsEnough) {
  LogCapture log;
  const Bytes response{0x02};
  EXPECT_EQ(Decode(response).result.status, L"ERROR_PROTOCOL_VERSION");
}

TEST(QueryResponseRound, TimesAreSentInState3Alone) {
  for (const int state : {0, 1, 2, 4, 0x83, 0xFF}) {
    SCOPED_TRACE(state);
    Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), kTail});
    response[1] = static_cast<std::uint8_t>(state);
    const Decoded decoded = Decode(response);
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.roundTime, 0U);
    EXPECT_EQ(decoded.result.defaultRoundTimeMultiplier, 0U);
  }
  const Bytes times{
      0x81, 0x82, 0x83, 0x84,  // roundTime
      0x91, 0x92, 0x93, 0x94,  // defaultRoundTimeMultiplier
  };
  Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), {0x01, 'M'}, times, {64, 7, 0x80}});
  response[1] = 0x03;
  const Decoded decoded = Decode(response);
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.roundTime, 0x81828384U);
  EXPECT_EQ(decoded.result.defaultRoundTimeMultiplier, 0x91929394U);
}

TEST(QueryResponseSection, FrontierOfEveryName) {
  for (const char* mode : {"Frontier", "Foothold", "ArmorControl", "SkyControl", "Salvager",
                           "Demolition", "Linkline"}) {
    SCOPED_TRACE(mode);
    const Decoded decoded = DecodeSection(mode, 10,
                                          {
                                              0x09, 0x01, 0x02, 0x03, 0x04,  // team 9
                                              0x00, 0xFF, 0xFE, 0xFD, 0xFC,  // team 0
                                          });
    ExpectTail(decoded);
    ASSERT_EQ(decoded.result.frontierScores.size(), 2U);
    EXPECT_EQ(decoded.result.frontierScores.at(9).tickets, 0x0102);
    EXPECT_EQ(decoded.result.frontierScores.at(9).ticketsMax, 0x0304);
    EXPECT_EQ(decoded.result.frontierScores.at(0).tickets, 0xFFFE);
    EXPECT_EQ(decoded.result.frontierScores.at(0).ticketsMax, 0xFDFC);
  }
}

TEST(QueryResponseSection, BreachOfEveryName) {
  for (const char* mode : {"Breach", "Lastcrew"}) {
    SCOPED_TRACE(mode);
    const Decoded decoded = DecodeSection(mode, 8,
                                          {
                                              0x01,        // attackersTeam
                                              0x02,        // defendersTeam
                                              0x03, 0x04,  // tickets
                                              0x05, 0x06,  // ticketsMax
                                              0x07,        // bases
                                              0x08,        // basesMax
                                          });
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.breach.attackersTeam, 1);
    EXPECT_EQ(decoded.result.breach.defendersTeam, 2);
    EXPECT_EQ(decoded.result.breach.tickets, 0x0304);
    EXPECT_EQ(decoded.result.breach.ticketsMax, 0x0506);
    EXPECT_EQ(decoded.result.breach.bases, 7);
    EXPECT_EQ(decoded.result.breach.basesMax, 8);
  }
}

TEST(QueryResponseSection, KillraceOfBothNames) {
  for (const char* mode : {"KillRace", "Killrace"}) {
    SCOPED_TRACE(mode);
    const Decoded decoded = DecodeSection(mode, 10,
                                          {
                                              0x02, 0x01, 0x02, 0x03, 0x04,  // team 2
                                              0x01, 0x11, 0x12, 0x13, 0x14,  // team 1
                                          });
    ExpectTail(decoded);
    ASSERT_EQ(decoded.result.killraceScores.size(), 2U);
    EXPECT_EQ(decoded.result.killraceScores.at(2).kills, 0x0102);
    EXPECT_EQ(decoded.result.killraceScores.at(2).killsMax, 0x0304);
    EXPECT_EQ(decoded.result.killraceScores.at(1).kills, 0x1112);
    EXPECT_EQ(decoded.result.killraceScores.at(1).killsMax, 0x1314);
  }
}

TEST(QueryResponseSection, ArmsLadder) {
  const Decoded decoded =
      DecodeSection("ArmsLadder", 20,
                    {
                        0x14,                                                  // top level 20
                        0x02,                                                  // two players
                        0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09,  // level 9
                        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0xFF,  // level 255
                    });
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.maxArmsLadderLevel, 20);
  ASSERT_EQ(decoded.result.armsLadderPlayers.size(), 2U);
  EXPECT_EQ(decoded.result.armsLadderPlayers[0].playerId, 0x0102030405060708U);
  EXPECT_EQ(decoded.result.armsLadderPlayers[0].level, 9);
  EXPECT_EQ(decoded.result.armsLadderPlayers[1].playerId, 1U);
  EXPECT_EQ(decoded.result.armsLadderPlayers[1].level, 255);
}

TEST(QueryResponseSection, SeizeTheBanner) {
  const Decoded decoded = DecodeSection("SeizeTheBanner", 14,
                                        {
                                            0x02, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06,  // team 2
                                            0x01, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16,  // team 1
                                        });
  ExpectTail(decoded);
  ASSERT_EQ(decoded.result.seizeTheBannerScores.size(), 2U);
  EXPECT_EQ(decoded.result.seizeTheBannerScores.at(2).flags, 0x0102);
  EXPECT_EQ(decoded.result.seizeTheBannerScores.at(2).flagsMax, 0x0304);
  EXPECT_EQ(decoded.result.seizeTheBannerScores.at(2).roundTimeMax, 0x0506);
  EXPECT_EQ(decoded.result.seizeTheBannerScores.at(1).flags, 0x1112);
  EXPECT_EQ(decoded.result.seizeTheBannerScores.at(1).flagsMax, 0x1314);
  EXPECT_EQ(decoded.result.seizeTheBannerScores.at(1).roundTimeMax, 0x1516);
}

TEST(QueryResponseSection, VesselStrike) {
  const Decoded decoded = DecodeSection("VesselStrike", 8,
                                        {
                                            0x02, 0x01, 0x02, 0x03,  // team 2
                                            0x01, 0x11, 0x12, 0x13,  // team 1
                                        });
  ExpectTail(decoded);
  ASSERT_EQ(decoded.result.vesselStrikeScores.size(), 2U);
  EXPECT_EQ(decoded.result.vesselStrikeScores.at(2).explodedCrates, 1);
  EXPECT_EQ(decoded.result.vesselStrikeScores.at(2).vesselHealth, 0x0203);
  EXPECT_EQ(decoded.result.vesselStrikeScores.at(1).explodedCrates, 0x11);
  EXPECT_EQ(decoded.result.vesselStrikeScores.at(1).vesselHealth, 0x1213);
}

TEST(QueryResponseSection, TeamSentTwiceKeepsItsLastScores) {
  const Bytes twiceFive{
      0x01, 0x00, 0x01, 0x00, 0x02,  // team 1
      0x01, 0x00, 0x03, 0x00, 0x04,  // team 1 again
  };
  const Decoded frontier = DecodeSection("Frontier", 10, twiceFive);
  ASSERT_EQ(frontier.result.frontierScores.size(), 1U);
  EXPECT_EQ(frontier.result.frontierScores.at(1).tickets, 3);
  EXPECT_EQ(frontier.result.frontierScores.at(1).ticketsMax, 4);

  const Decoded killrace = DecodeSection("Killrace", 10, twiceFive);
  ASSERT_EQ(killrace.result.killraceScores.size(), 1U);
  EXPECT_EQ(killrace.result.killraceScores.at(1).kills, 3);
  EXPECT_EQ(killrace.result.killraceScores.at(1).killsMax, 4);

  const Decoded banner = DecodeSection("SeizeTheBanner", 14,
                                       {
                                           0x01, 0x00, 0x01, 0x00, 0x02, 0x00, 0x03,  // team 1
                                           0x01, 0x00, 0x04, 0x00, 0x05, 0x00, 0x06,  // again
                                       });
  ASSERT_EQ(banner.result.seizeTheBannerScores.size(), 1U);
  EXPECT_EQ(banner.result.seizeTheBannerScores.at(1).flags, 4);
  EXPECT_EQ(banner.result.seizeTheBannerScores.at(1).flagsMax, 5);
  EXPECT_EQ(banner.result.seizeTheBannerScores.at(1).roundTimeMax, 6);

  const Decoded vessel = DecodeSection("VesselStrike", 8,
                                       {
                                           0x01, 0x01, 0x00, 0x02,  // team 1
                                           0x01, 0x03, 0x00, 0x04,  // team 1 again
                                       });
  ASSERT_EQ(vessel.result.vesselStrikeScores.size(), 1U);
  EXPECT_EQ(vessel.result.vesselStrikeScores.at(1).explodedCrates, 3);
  EXPECT_EQ(vessel.result.vesselStrikeScores.at(1).vesselHealth, 4);
}

TEST(QueryResponseSection, RestOfALengthThatHoldsNoWholeEntryIsTheMap) {
  struct Section {
    const char* mode;
    std::uint8_t length;
    Bytes entry;
  };
  const Section sections[] = {
      {"Frontier", 7, {0x01, 0x00, 0x02, 0x00, 0x03}},
      {"Frontier", 9, {0x01, 0x00, 0x02, 0x00, 0x03}},
      {"Killrace", 6, {0x01, 0x00, 0x02, 0x00, 0x03}},
      {"Killrace", 9, {0x01, 0x00, 0x02, 0x00, 0x03}},
      {"SeizeTheBanner", 8, {0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x04}},
      {"SeizeTheBanner", 13, {0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x04}},
      {"VesselStrike", 5, {0x01, 0x00, 0x02, 0x00}},
      {"VesselStrike", 7, {0x01, 0x00, 0x02, 0x00}},
  };
  for (const Section& section : sections) {
    SCOPED_TRACE(section.mode);
    SCOPED_TRACE(static_cast<int>(section.length));
    // The map's text begins where the section should still be.
    const Decoded decoded = DecodeSection(section.mode, section.length, section.entry);
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.frontierScores.size() + decoded.result.killraceScores.size() +
                  decoded.result.seizeTheBannerScores.size() +
                  decoded.result.vesselStrikeScores.size(),
              1U);
  }
}

TEST(QueryResponseSection, FrontierOfSevenBytes) {
  const Decoded decoded = Decode(Join({kHeader,
                                       ModeAndSection("Frontier0", 7,
                                                      {
                                                          0x01,        // team 1
                                                          0x00, 0x0A,  // tickets 10
                                                          0x00, 0x14,  // ticketsMax 20
                                                          0x03, 'a',   // the rest
                                                      }),
                                       {
                                           'b', 'c',  // the map goes on
                                           0x40,      // maxPlayers 64
                                           0x07,      // waitingPlayers 7
                                           0x80,      // no teams
                                       }}));
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.result.frontierScores.size(), 1U);
  EXPECT_EQ(decoded.result.frontierScores.at(1).tickets, 10);
  EXPECT_EQ(decoded.result.frontierScores.at(1).ticketsMax, 20);
  EXPECT_EQ(decoded.result.currentMap, L"abc");
  EXPECT_EQ(decoded.result.maxPlayers, 64);
}

TEST(QueryResponseSection, LengthShorterThanAnEntryGivesNone) {
  for (const auto& [mode, length] :
       std::vector<std::pair<const char*, std::uint8_t>>{{"Frontier", std::uint8_t{4}},
                                                         {"Killrace", std::uint8_t{4}},
                                                         {"SeizeTheBanner", std::uint8_t{6}},
                                                         {"VesselStrike", std::uint8_t{3}}}) {
    SCOPED_TRACE(mode);
    const Decoded decoded = DecodeSection(mode, length, {});
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.frontierScores.size() + decoded.result.killraceScores.size() +
                  decoded.result.seizeTheBannerScores.size() +
                  decoded.result.vesselStrikeScores.size(),
              0U);
  }
}

TEST(QueryResponseSection, LongestFrontier) {
  Bytes entries;
  for (std::uint8_t team = 0; team < 51; ++team) {
    entries = Join({entries, {team, 0x00, team, 0x00, 0x64}});
  }
  const Decoded decoded = DecodeSection("Frontier", 255, entries);
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.frontierScores.size(), 51U);
  EXPECT_EQ(decoded.result.frontierScores.at(50).tickets, 50);
}

TEST(QueryResponseSection, BreachReadsEightBytesWhateverTheLength) {
  for (const int length : {1, 7, 9, 255}) {
    SCOPED_TRACE(length);
    const Decoded decoded = DecodeSection("Breach", static_cast<std::uint8_t>(length),
                                          {0x01, 0x02, 0x00, 0x03, 0x00, 0x04, 0x05, 0x06});
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.breach.attackersTeam, 1);
    EXPECT_EQ(decoded.result.breach.basesMax, 6);
  }
}

TEST(QueryResponseSection, BreachWithoutBasesMakesNoSectionInTheJson) {
  const Decoded decoded =
      DecodeSection("Breach0", 8, {0x01, 0x02, 0x00, 0x4B, 0x00, 0x64, 0x03, 0x00});
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.breach.tickets, 75);
  EXPECT_EQ(BuildQueryJson(decoded.result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"2\", \n"
            L"  \"persistedIdPart1\": \"3\", \n"
            L"  \"persistedIdPart2\": \"4\", \n"
            L"  \"gameId\": \"5\", \n"
            L"  \"gameMode\": \"Breach0\", \n"
            L"  \"mapVariant\": 6,\n"
            L"  \"currentMap\": \"M\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 64,\n"
            L"  \"waitingPlayers\": 7,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryResponseSection, ArmsLadderReadsItsEntriesWhateverTheLength) {
  for (const int length : {1, 2, 200}) {
    SCOPED_TRACE(length);
    const Decoded decoded =
        DecodeSection("ArmsLadder", static_cast<std::uint8_t>(length),
                      {
                          0x05,                                                  // top level 5
                          0x01,                                                  // one player
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07, 0x02,  // level 2
                      });
    ExpectTail(decoded);
    EXPECT_EQ(decoded.result.maxArmsLadderLevel, 5);
    ASSERT_EQ(decoded.result.armsLadderPlayers.size(), 1U);
    EXPECT_EQ(decoded.result.armsLadderPlayers[0].playerId, 7U);
    EXPECT_EQ(decoded.result.armsLadderPlayers[0].level, 2);
  }
}

TEST(QueryResponseSection, ArmsLadderWithoutPlayersAndWithTheMost) {
  const Decoded none = DecodeSection("ArmsLadder", 2, {0x05, 0x00});
  ExpectTail(none);
  EXPECT_EQ(none.result.maxArmsLadderLevel, 5);
  EXPECT_EQ(none.result.armsLadderPlayers.size(), 0U);

  Bytes section{0x05, 0xFF};
  for (std::uint8_t i = 0; i < 255; ++i) {
    section = Join({section, {0, 0, 0, 0, 0, 0, 0, i, i}});
  }
  const Decoded most = DecodeSection("ArmsLadder", 2, section);
  ExpectTail(most);
  ASSERT_EQ(most.result.armsLadderPlayers.size(), 255U);
  EXPECT_EQ(most.result.armsLadderPlayers[254].playerId, 254U);
  EXPECT_EQ(most.result.armsLadderPlayers[254].level, 254);
}

TEST(QueryResponseSection, UnknownModeIsSkippedAndEndsAsSuccess) {
  LogCapture log;
  const Decoded decoded = DecodeSection("Chess", 3, {0xFF, 0xFF, 0xFF});
  ExpectTail(decoded);
  EXPECT_EQ(log.Take(), "AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: Chess\n");
  EXPECT_EQ(BuildQueryJson(decoded.result),
            L"{\n"
            L"  \"status\": \"SUCCESS\", \n"
            L"  \"platform\": \"2\", \n"
            L"  \"persistedIdPart1\": \"3\", \n"
            L"  \"persistedIdPart2\": \"4\", \n"
            L"  \"gameId\": \"5\", \n"
            L"  \"gameMode\": \"Chess\", \n"
            L"  \"mapVariant\": 6,\n"
            L"  \"currentMap\": \"M\", \n"
            L"  \"roundTime\": \"0\", \n"
            L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
            L"  \"maxPlayers\": 64,\n"
            L"  \"waitingPlayers\": 7,\n"
            L"  \"teamInfo\": \n"
            L"  {\n"
            L"  }\n"
            L"}\n");
}

TEST(QueryResponseSection, UnknownModeOfTheLongestSection) {
  LogCapture log;
  ExpectTail(DecodeSection("Chess", 255, Bytes(255, 0x09)));
}

TEST(QueryResponseSection, CaseOfAModesNameCounts) {
  LogCapture log;
  const Decoded decoded = DecodeSection("frontier0", 5, {0x01, 0x00, 0x02, 0x00, 0x03});
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.frontierScores.size(), 0U);
  EXPECT_EQ(log.Take(), "AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: frontier0\n");
}

TEST(QueryResponseSection, NameIsNotClassifiedWithoutASection) {
  LogCapture log;
  ExpectTail(DecodeSection("Chess", 0, {}));
  ExpectTail(DecodeSection("Breach", 0, {}));
  ExpectTail(DecodeSection("ArmsLadder", 0, {}));
  EXPECT_EQ(log.Take(), "");
}

TEST(QueryResponseSection, WideNameOfAnUnknownModeIsLogged) {
  LogCapture log;
  const Bytes response = Join({kHeader,
                               {
                                   0x04, 'Z', 'o', 0xC3, 0xAB,  // gameMode, in UTF-8
                                   0x06,                        // mapVariant 6
                                   0x01, 0x00,                  // a section of one byte
                               },
                               kTail});
  ExpectTail(Decode(response));
  EXPECT_EQ(log.Take(), "AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: Zo\xC3\xAB\n");
}

TEST(QueryResponseSection, NumbersThatChooseTheJsonsSectionAreClearedBefore) {
  Decoded decoded;
  decoded.result.breach.basesMax = 4;
  decoded.result.maxArmsLadderLevel = 20;
  DecodeInto(decoded, Join({kHeader, ModeAndSection("Frontier", 0, {}), kTail}));
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.breach.basesMax, 0);
  EXPECT_EQ(decoded.result.maxArmsLadderLevel, 0);
}

TEST(QueryResponseTeams, CountByteOf80AndAboveMeansNone) {
  for (const int countByte : {0x80, 0x81, 0xFF}) {
    SCOPED_TRACE(countByte);
    Bytes response = Join({kHeader, ModeAndSection("C", 0, {}), kTail});
    response.back() = static_cast<std::uint8_t>(countByte);
    const Decoded decoded = Decode(response);
    ExpectTail(decoded);
    EXPECT_EQ(decoded.consumed, response.size());
  }
}

TEST(QueryResponseTeams, CountByte0MeansOne) {
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x00,        // currentMap ""
                                   0x40, 0x07,  // maxPlayers, waitingPlayers
                                   0x00,        // one team
                                   0x00,        // nobody in it, and no faction
                               }});
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
  ASSERT_EQ(decoded.result.teams.size(), 1U);
  EXPECT_EQ(decoded.result.teams[0].playerCount, 0);
  EXPECT_EQ(decoded.result.teams[0].faction, 0);
  EXPECT_EQ(decoded.result.teams[0].players.size(), 0U);
}

TEST(QueryResponseTeams, CountByte7FMeans128) {
  Bytes factions(127);
  for (std::size_t i = 0; i < factions.size(); ++i) factions[i] = static_cast<std::uint8_t>(i + 1);
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x00,        // currentMap ""
                                   0x40, 0x07,  // maxPlayers, waitingPlayers
                                   0x7F,        // 128 teams
                               },
                               Bytes(128, 0x00),
                               factions});
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
  ASSERT_EQ(decoded.result.teams.size(), 128U);
  for (std::size_t i = 0; i < 128; ++i) EXPECT_EQ(decoded.result.teams[i].faction, i);
}

// All player counts come before all factions, all factions before all players.
TEST(QueryResponseTeams, ThreeTeamsWithPlayersInSome) {
  const auto player = [](std::uint8_t playerId) {
    return Bytes{
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, playerId,  // playerId
        0x00,                                                // name ""
        0x00,                                                // tag ""
        0x00, 0x00,                                          // rank
        0x00, 0x00, 0x00, 0x00,                              // score
        0x00, 0x00,                                          // kills
        0x00, 0x00,                                          // deaths
        0x00,                                                // squad
        0x00,                                                // role
    };
  };
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x00,              // currentMap ""
                                   0x40, 0x07,        // maxPlayers, waitingPlayers
                                   0x02,              // three teams
                                   0x02, 0x00, 0x01,  // 2, 0 and 1 players
                                   0x0B, 0x0C,        // factions 11 and 12
                               },
                               player(21),
                               player(22),
                               player(23)});
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
  ASSERT_EQ(decoded.result.teams.size(), 3U);
  EXPECT_EQ(decoded.result.teams[0].faction, 0);
  EXPECT_EQ(decoded.result.teams[1].faction, 11);
  EXPECT_EQ(decoded.result.teams[2].faction, 12);
  ASSERT_EQ(decoded.result.teams[0].players.size(), 2U);
  EXPECT_EQ(decoded.result.teams[0].players[0].playerId, 21U);
  EXPECT_EQ(decoded.result.teams[0].players[1].playerId, 22U);
  EXPECT_EQ(decoded.result.teams[1].players.size(), 0U);
  ASSERT_EQ(decoded.result.teams[2].players.size(), 1U);
  EXPECT_EQ(decoded.result.teams[2].players[0].playerId, 23U);
}

TEST(QueryResponseTeams, MostPlayersWithTheLongestTexts) {
  Bytes player{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01};  // playerId
  player = Join({player, {0x64}, Bytes(100, 'n')});              // name
  player = Join({player, {0x50}, Bytes(80, 't')});               // tag
  player = Join({player, Bytes(12, 0x00)});  // rank, score, kills, deaths, squad, role
  Bytes players;
  for (int i = 0; i < 255; ++i) players.insert(players.end(), player.begin(), player.end());
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x00,        // currentMap ""
                                   0x40, 0x07,  // maxPlayers, waitingPlayers
                                   0x00,        // one team
                                   0xFF,        // with 255 players
                               },
                               players});
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.consumed, response.size());
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
  ASSERT_EQ(decoded.result.teams[0].players.size(), 255U);
  for (const PlayerRecord& record : decoded.result.teams[0].players) {
    EXPECT_EQ(record.name, std::wstring(100, L'n'));
    EXPECT_EQ(record.tag, std::wstring(80, L't'));
  }
}

// Servers cannot bring this about; a record that is not fresh can.
TEST(QueryResponseTeams, PlayersThatDoNotMatchTheirCount) {
  LogCapture log;
  Decoded decoded;
  TeamRecord team;
  team.playerCount = 0;
  team.players.resize(2);
  decoded.result.teams.push_back(team);
  DecodeInto(decoded, Join({kHeader, ModeAndSection("C", 0, {}), kTail}));
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, L"ERROR_MARSHALLING_TEAMS_AND_PLAYERS");
  EXPECT_EQ(log.Take(),
            "AppLauncher::QueryParseResponse: Marshalling error, number of players in team 0 "
            "doesn't match number of players parsed (0 != 2)\n");
}

TEST(QueryResponseTeams, ReadingEndsAtTheTeamWhosePlayersDoNotMatch) {
  LogCapture log;
  Decoded decoded;
  decoded.result.teams.resize(3);
  decoded.result.teams[1].players.resize(2);
  // Its player is not in the response.
  decoded.result.teams[2].playerCount = 1;
  DecodeInto(decoded, Join({kHeader, ModeAndSection("C", 0, {}), kTail}));
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, L"ERROR_MARSHALLING_TEAMS_AND_PLAYERS");
  EXPECT_EQ(decoded.result.teams[2].players.size(), 0U);
  EXPECT_EQ(log.Take(),
            "AppLauncher::QueryParseResponse: Marshalling error, number of players in team 1 "
            "doesn't match number of players parsed (0 != 2)\n");
}

// The texts of all players stand one behind the other in memory.
TEST(QueryResponseTexts, PlayersTextsOfOtherLengthsThanTheirBytes) {
  const Bytes numbers{
      0x00, 0x01,              // rank
      0x00, 0x00, 0x00, 0x02,  // score
      0x00, 0x03,              // kills
      0x00, 0x04,              // deaths
      0x05,                    // squad
      0x06,                    // role
  };
  const Bytes identifier{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x01};
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x01, 'M',   // currentMap
                                   0x40, 0x07,  // maxPlayers, waitingPlayers
                                   0x00,        // one team
                                   0x02,        // of two players
                               },
                               identifier,
                               {0x09, 'A', 'n', 'n', 'a', 0x00, 'B', 'e', 'r', 't'},
                               {0x03, 'a', 0xFF, 'b'},
                               numbers,
                               identifier,
                               {0x02, 0x00, 'x'},
                               {0x02, 'Z', 'Z'},
                               numbers});
  const Decoded decoded = Decode(response);
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.consumed, response.size());
  ASSERT_EQ(decoded.result.teams.size(), 1U);
  const auto& players = decoded.result.teams[0].players;
  ASSERT_EQ(players.size(), 2U);
  EXPECT_EQ(players[0].name, L"Anna");
  EXPECT_EQ(players[0].tag, L"a\uFFFDb");
  EXPECT_EQ(players[1].name, L"");
  EXPECT_EQ(players[1].tag, L"ZZ");
}

TEST(QueryResponseTexts, ZeroEndsATextAndNotItsReading) {
  const Decoded decoded = Decode(Join({kHeader,
                                       {
                                           0x05, 'a', 'b', 0x00, 'c', 'd',  // gameMode "ab"
                                           0x06, 0x00,  // mapVariant 6, no section
                                       },
                                       kTail}));
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.gameMode, L"ab");
  EXPECT_EQ(decoded.result.mapVariant, 6);
}

TEST(QueryResponseTexts, Utf8BecomesWide) {
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x03, 0xE2, 0x82, 0xAC,  // currentMap, a euro sign
                                   0x40, 0x07,              // maxPlayers, waitingPlayers
                                   0x00, 0x01,              // one team with one player
                                   0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,  // playerId
                                   0x04, 0xF0, 0x9F, 0x98, 0x80,  // name, outside the basic plane
                                   0x02, 0xC3, 0xAB,              // tag, an e with two dots
                               },
                               Bytes(12, 0x00)});
  const Decoded decoded = Decode(response);
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
  EXPECT_EQ(decoded.result.currentMap, L"\u20AC");
  EXPECT_EQ(decoded.result.teams[0].players[0].name, L"\U0001F600");
  EXPECT_EQ(decoded.result.teams[0].players[0].tag, L"\u00EB");
}

TEST(QueryResponseTexts, InvalidByteIsReplaced) {
  const Decoded decoded = Decode(Join({kHeader, {0x03, 'a', 0xFF, 'b'}, {0x06, 0x00}, kTail}));
  ExpectTail(decoded);
  EXPECT_EQ(decoded.result.gameMode, L"a\uFFFDb");
}

TEST(QueryResponseTexts, LongestModeAndMap) {
  const Decoded decoded = Decode(Join({kHeader,
                                       {0xFF},
                                       Bytes(255, 'g'),
                                       {0x06, 0x00},
                                       {0xFF},
                                       Bytes(255, 'm'),
                                       {0x40, 0x07, 0x80}}));
  EXPECT_EQ(decoded.result.status, L"SUCCESS");
  EXPECT_EQ(decoded.result.gameMode, std::wstring(255, L'g'));
  EXPECT_EQ(decoded.result.currentMap, std::wstring(255, L'm'));
}

// The text stays what it was even when the record moves on.
TEST(QueryResponseTexts, OutliveTheMessageAndAMoveOfTheRecord) {
  const Bytes response = Join({kHeader,
                               ModeAndSection("C", 0, {}),
                               {
                                   0x00,        // currentMap ""
                                   0x40, 0x07,  // maxPlayers, waitingPlayers
                                   0x00, 0x01,  // one team with one player
                                   0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01,  // playerId
                                   0x03, 'A',  'n',  'n',                           // name
                                   0x02, 'A',  'A',                                 // tag
                               },
                               Bytes(12, 0x00)});
  Decoded decoded = Decode(response);
  const QueryResult moved = std::move(decoded.result);
  EXPECT_EQ(moved.teams[0].players[0].name, L"Ann");
  EXPECT_EQ(moved.teams[0].players[0].tag, L"AA");
}

// Single fields are stored as they are read.
TEST(QueryResponseCut, BreachKeepsWhatWasRead) {
  const Bytes whole = Join({kHeader, ModeAndSection("Breach", 8,
                                                    {
                                                        0x01,        // attackersTeam
                                                        0x02,        // defendersTeam
                                                        0x03, 0x04,  // tickets
                                                        0x05, 0x06,  // ticketsMax
                                                        0x07,        // bases
                                                        0x08,        // basesMax
                                                    })});
  LogCapture log;
  for (std::size_t missing = 0; missing <= 8; ++missing) {
    SCOPED_TRACE(missing);
    const Decoded decoded = Decode(std::span(whole).first(whole.size() - missing));
    EXPECT_TRUE(decoded.cutShort);
    const BreachState& breach = decoded.result.breach;
    EXPECT_EQ(breach.attackersTeam, missing <= 7 ? 1 : 0);
    EXPECT_EQ(breach.defendersTeam, missing <= 6 ? 2 : 0);
    EXPECT_EQ(breach.tickets, missing <= 4 ? 0x0304 : 0);
    EXPECT_EQ(breach.ticketsMax, missing <= 2 ? 0x0506 : 0);
    EXPECT_EQ(breach.bases, missing <= 1 ? 7 : 0);
    EXPECT_EQ(breach.basesMax, missing == 0 ? 8 : 0);
  }
}

TEST(QueryResponseCut, TeamSentTwiceKeepsItsScoresUntilTheNextAreWhole) {
  const Bytes whole = Join({kHeader, ModeAndSection("Frontier", 10,
                                                    {
                                                        0x01, 0x00, 0x01, 0x00, 0x02,  // team 1
                                                        0x01, 0x00, 0x03, 0x00, 0x04,  // again
                                                    })});
  LogCapture log;
  for (std::size_t missing = 0; missing <= 5; ++missing) {
    SCOPED_TRACE(missing);
    const Decoded decoded = Decode(std::span(whole).first(whole.size() - missing));
    EXPECT_TRUE(decoded.cutShort);
    EXPECT_EQ(decoded.result.frontierScores.at(1).tickets, missing == 0 ? 3 : 1);
    EXPECT_EQ(decoded.result.frontierScores.at(1).ticketsMax, missing == 0 ? 4 : 2);
  }
}

TEST(QueryResponseCut, UnknownModeLeavesItsStatusUntilTheThreadSetsItsOwn) {
  LogCapture log;
  const Bytes whole = Join({kHeader, ModeAndSection("Chess", 3, {0x01, 0x02})});
  const Decoded decoded = Decode(whole);
  EXPECT_TRUE(decoded.cutShort);
  EXPECT_EQ(decoded.result.status, L"UNKNOWN_GAME_MODE");
}

// A team stands in the record as soon as its number of players was read.
TEST(QueryResponseCut, TeamsBeforeTheirFactions) {
  const Bytes whole = Join({kHeader,
                            ModeAndSection("C", 0, {}),
                            {
                                0x00,        // currentMap ""
                                0x40, 0x07,  // maxPlayers, waitingPlayers
                                0x01,        // two teams
                                0x03, 0x04,  // 3 and 4 players
                                0x09,        // faction of team 1
                            }});
  LogCapture log;
  for (std::size_t missing = 0; missing <= 3; ++missing) {
    SCOPED_TRACE(missing);
    const Decoded decoded = Decode(std::span(whole).first(whole.size() - missing));
    EXPECT_TRUE(decoded.cutShort);
    ASSERT_EQ(decoded.result.teams.size(), missing <= 1 ? 2U : missing == 2 ? 1U : 0U);
    if (missing > 2) continue;
    EXPECT_EQ(decoded.result.teams[0].playerCount, 3);
    if (missing > 1) continue;
    EXPECT_EQ(decoded.result.teams[1].playerCount, 4);
    EXPECT_EQ(decoded.result.teams[1].faction, missing == 0 ? 9 : 0);
  }
}

}  // namespace
}  // namespace launcher
