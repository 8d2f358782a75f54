// Responses of every protocol version and every kind of mode, cut at every byte: what was read
// until then stands in the JSON, and nothing else.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "query/query_json.h"
#include "tests/unit/log_capture.h"
#include "tests/unit/response_bytes.h"

namespace launcher {
namespace {

// The JSON that is expected, in the texts that stand in it.
struct ExpectedJson {
  std::wstring platform = L"0";
  std::wstring persistedIdPart1 = L"0";
  std::wstring persistedIdPart2 = L"0";
  std::wstring gameId = L"0";
  std::wstring gameMode;
  std::wstring mapVariant = L"0";
  std::wstring currentMap;
  std::wstring roundTime = L"0";
  std::wstring defaultRoundTimeMultiplier = L"0";
  std::wstring maxPlayers = L"0";
  std::wstring waitingPlayers = L"0";
  std::wstring section;
  struct Team {
    std::wstring faction = L"0";
    // The lines of each player but the closing one.
    std::vector<std::wstring> players;
  };
  std::vector<Team> teams;
  // What the decoder has written to the log.
  std::string log;

  std::wstring Text(const std::wstring& status) const {
    std::wstring text =
        L"{\n  \"status\": \"" + status + L"\", \n  \"platform\": \"" + platform +
        L"\", \n  \"persistedIdPart1\": \"" + persistedIdPart1 +
        L"\", \n  \"persistedIdPart2\": \"" + persistedIdPart2 + L"\", \n  \"gameId\": \"" +
        gameId + L"\", \n  \"gameMode\": \"" + gameMode + L"\", \n  \"mapVariant\": " + mapVariant +
        L",\n  \"currentMap\": \"" + currentMap + L"\", \n  \"roundTime\": \"" + roundTime +
        L"\", \n  \"defaultRoundTimeMultiplier\": \"" + defaultRoundTimeMultiplier +
        L"\", \n  \"maxPlayers\": " + maxPlayers + L",\n  \"waitingPlayers\": " + waitingPlayers +
        L",\n" + section + L"  \"teamInfo\": \n  {\n";
    for (std::size_t i = 0; i < teams.size(); ++i) {
      text += L"    \"" + std::to_wstring(i) + L"\":\n    {\n      \"faction\": " +
              teams[i].faction + L",\n      \"players\":  \n      {\n";
      const std::vector<std::wstring>& players = teams[i].players;
      for (std::size_t j = 0; j < players.size(); ++j) {
        text += players[j] + (j + 1 < players.size() ? L"        },\n" : L"        }\n");
      }
      text += i + 1 < teams.size() ? L"      }\n    },\n" : L"      }\n    }\n";
    }
    return text + L"  }\n}\n";
  }
};

using Effect = std::function<void(ExpectedJson&)>;

// One read of the decoder: the bytes that it takes, and what it changes once they were there.
struct Read {
  Bytes bytes;
  Effect effect = [](ExpectedJson&) {};
};
using Reads = std::vector<Read>;

Effect Sets(std::wstring ExpectedJson::*field, std::wstring text) {
  return [field, text = std::move(text)](ExpectedJson& json) { json.*field = text; };
}

// A text is two reads, its length and its bytes.
void AddText(
    Reads& reads, const std::string& text, Effect effect = [](ExpectedJson&) {}) {
  reads.push_back({{static_cast<std::uint8_t>(text.size())}});
  if (!text.empty()) reads.push_back({Ascii(text)});
  reads.back().effect = std::move(effect);
}

// A mode and its section. The expected texts stand beside the read that brings them about.
struct Mode {
  std::string name;
  Reads section;
  std::string log;
};

const Mode kNoSection{"Frontier0", {}, ""};

const Mode kFrontier{"Frontier0",
                     {
                         {{0x02}},        // team 2
                         {{0x01, 0x02}},  // tickets 258
                         {{0x01, 0x90},   // ticketsMax 400
                          Sets(&ExpectedJson::section,
                               L"  \"frontier\": \n"
                               L"  {\n"
                               L"    \"2\":\n"
                               L"    {\n"
                               L"          \"tickets\": 258,\n"
                               L"          \"ticketsMax\": 400\n"
                               L"        }\n"
                               L"    },\n")},
                         {{0x01}},        // team 1
                         {{0x00, 0xFF}},  // tickets 255
                         {{0x03, 0xE8},   // ticketsMax 1000
                          Sets(&ExpectedJson::section,
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
                               L"    },\n")},
                     },
                     ""};

const Mode kBreach{"Lastcrew0",
                   {
                       {{0x01}},        // attackersTeam 1
                       {{0x02}},        // defendersTeam 2
                       {{0x00, 0x4B}},  // tickets 75
                       {{0x00, 0x64}},  // ticketsMax 100
                       {{0x03}},        // bases 3
                       {{0x04},         // basesMax 4
                        Sets(&ExpectedJson::section,
                             L"  \"breach\": \n"
                             L"  {\n"
                             L"    \"attackers\": \n"
                             L"    {\n"
                             L"          \"team\": 1,\n"
                             L"          \"tickets\": 75,\n"
                             L"          \"ticketsMax\": 100\n"
                             L"    },\n"
                             L"    \"defenders\": \n"
                             L"    {\n"
                             L"          \"team\": 2,\n"
                             L"          \"bases\": 3,\n"
                             L"          \"basesMax\": 4\n"
                             L"    }\n"
                             L"  },\n")},
                   },
                   ""};

const Mode kKillrace{"Killrace0",
                     {
                         {{0x01}},        // team 1
                         {{0x00, 0x14}},  // kills 20
                         {{0x00, 0x64},   // killsMax 100
                          Sets(&ExpectedJson::section,
                               L"  \"killrace\": \n"
                               L"  {\n"
                               L"    \"1\":\n"
                               L"    {\n"
                               L"          \"kills\": 20,\n"
                               L"          \"killsMax\": 100\n"
                               L"        }\n"
                               L"  },\n")},
                         {{0x02}},        // team 2
                         {{0x00, 0x1F}},  // kills 31
                         {{0x00, 0x65},   // killsMax 101
                          Sets(&ExpectedJson::section,
                               L"  \"killrace\": \n"
                               L"  {\n"
                               L"    \"1\":\n"
                               L"    {\n"
                               L"          \"kills\": 20,\n"
                               L"          \"killsMax\": 100\n"
                               L"        },\n"
                               L"    \"2\":\n"
                               L"    {\n"
                               L"          \"kills\": 31,\n"
                               L"          \"killsMax\": 101\n"
                               L"        }\n"
                               L"  },\n")},
                     },
                     ""};

const Mode kArmsLadder{"ArmsLadder0",
                       {
                           {{0x14},  // top level 20
                            Sets(&ExpectedJson::section,
                                 L"  \"armsLadder\": \n"
                                 L"  {\n"
                                 L"    \"maxArmsLadderLevel\": 20,\n"
                                 L"    \"players\": \n"
                                 L"    {\n"
                                 L"    }\n"
                                 L"  },\n")},
                           {{0x02}},                                            // two players
                           {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x02}},  // playerId 4098
                           {{0x07},                                             // level 7
                            Sets(&ExpectedJson::section,
                                 L"  \"armsLadder\": \n"
                                 L"  {\n"
                                 L"    \"maxArmsLadderLevel\": 20,\n"
                                 L"    \"players\": \n"
                                 L"    {\n"
                                 L"        \"4098\":7\n"
                                 L"    }\n"
                                 L"  },\n")},
                           {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x01}},  // playerId 4097
                           {{0x09},                                             // level 9
                            Sets(&ExpectedJson::section,
                                 L"  \"armsLadder\": \n"
                                 L"  {\n"
                                 L"    \"maxArmsLadderLevel\": 20,\n"
                                 L"    \"players\": \n"
                                 L"    {\n"
                                 L"        \"4098\":7,\n"
                                 L"        \"4097\":9\n"
                                 L"    }\n"
                                 L"  },\n")},
                       },
                       ""};

const Mode kSeizeTheBanner{"SeizeTheBanner0",
                           {
                               {{0x01}},        // team 1
                               {{0x00, 0x01}},  // flags 1
                               {{0x00, 0x03}},  // flagsMax 3
                               {{0x04, 0xB0},   // roundTimeMax 1200
                                Sets(&ExpectedJson::section,
                                     L"  \"seizeTheBanner\": \n"
                                     L"  {\n"
                                     L"    \"1\":\n"
                                     L"    {\n"
                                     L"          \"flags\": 1,\n"
                                     L"          \"flagsMax\": 3,\n"
                                     L"\t\t  \"roundTimeMax\": 1200\n"
                                     L"        }\n"
                                     L"    },\n")},
                               {{0x02}},        // team 2
                               {{0x00, 0x02}},  // flags 2
                               {{0x00, 0x04}},  // flagsMax 4
                               {{0x04, 0xB1},   // roundTimeMax 1201
                                Sets(&ExpectedJson::section,
                                     L"  \"seizeTheBanner\": \n"
                                     L"  {\n"
                                     L"    \"1\":\n"
                                     L"    {\n"
                                     L"          \"flags\": 1,\n"
                                     L"          \"flagsMax\": 3,\n"
                                     L"\t\t  \"roundTimeMax\": 1200\n"
                                     L"        },\n"
                                     L"    \"2\":\n"
                                     L"    {\n"
                                     L"          \"flags\": 2,\n"
                                     L"          \"flagsMax\": 4,\n"
                                     L"\t\t  \"roundTimeMax\": 1201\n"
                                     L"        }\n"
                                     L"    },\n")},
                           },
                           ""};

const Mode kVesselStrike{"VesselStrike0",
                         {
                             {{0x02}},       // team 2
                             {{0x01}},       // explodedCrates 1
                             {{0x03, 0x84},  // vesselHealth 900
                              Sets(&ExpectedJson::section,
                                   L"  \"vesselStrike\": \n"
                                   L"  {\n"
                                   L"    \"2\":\n"
                                   L"    {\n"
                                   L"          \"explodedCrates\": 1,\n"
                                   L"          \"vesselHealth\": 900\n"
                                   L"        }\n"
                                   L"    },\n")},
                             {{0x01}},       // team 1
                             {{0x02}},       // explodedCrates 2
                             {{0x03, 0x20},  // vesselHealth 800
                              Sets(&ExpectedJson::section,
                                   L"  \"vesselStrike\": \n"
                                   L"  {\n"
                                   L"    \"1\":\n"
                                   L"    {\n"
                                   L"          \"explodedCrates\": 2,\n"
                                   L"          \"vesselHealth\": 800\n"
                                   L"        },\n"
                                   L"    \"2\":\n"
                                   L"    {\n"
                                   L"          \"explodedCrates\": 1,\n"
                                   L"          \"vesselHealth\": 900\n"
                                   L"        }\n"
                                   L"    },\n")},
                         },
                         ""};

// Skipped byte by byte.
const Mode kUnknown{"Chess",
                    {{{0x01}}, {{0x02}}, {{0x03}}},
                    "AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: Chess\n"};

// The lines of a player as they stand in the JSON of versions 8 to 10, where a rank has 16 bits and
// a role is on the wire, and of versions 3 to 7.
struct PlayerTexts {
  std::wstring fromVersion8;
  std::wstring upToVersion7;
};

const PlayerTexts kAnn{
    L"        \"4097\":\n"
    L"        {\n"
    L"          \"name\": \"Ann\",\n"
    L"          \"tag\": \"AA\",\n"
    L"          \"rank\": 300,\n"
    L"          \"score\": 70000,\n"
    L"          \"kills\": 257,\n"
    L"          \"deaths\": 514,\n"
    L"          \"squad\": 3,\n"
    L"          \"role\": 2 \n",
    L"        \"4097\":\n"
    L"        {\n"
    L"          \"name\": \"Ann\",\n"
    L"          \"tag\": \"AA\",\n"
    L"          \"rank\": 44,\n"
    L"          \"score\": 70000,\n"
    L"          \"kills\": 257,\n"
    L"          \"deaths\": 514,\n"
    L"          \"squad\": 3,\n"
    L"          \"role\": 1 \n"};

const PlayerTexts kBob{
    L"        \"4098\":\n"
    L"        {\n"
    L"          \"name\": \"\",\n"
    L"          \"tag\": \"BBB\",\n"
    L"          \"rank\": 300,\n"
    L"          \"score\": 70000,\n"
    L"          \"kills\": 257,\n"
    L"          \"deaths\": 514,\n"
    L"          \"squad\": 3,\n"
    L"          \"role\": 2 \n",
    L"        \"4098\":\n"
    L"        {\n"
    L"          \"name\": \"\",\n"
    L"          \"tag\": \"BBB\",\n"
    L"          \"rank\": 44,\n"
    L"          \"score\": 70000,\n"
    L"          \"kills\": 257,\n"
    L"          \"deaths\": 514,\n"
    L"          \"squad\": 3,\n"
    L"          \"role\": 1 \n"};

// A player joins its team with its last byte.
void AddPlayer(Reads& reads, int version, std::size_t team, std::uint8_t idLowByte,
               const std::string& name, const std::string& tag, const PlayerTexts& texts) {
  const Effect joins = [team, lines = version >= 8 ? texts.fromVersion8 : texts.upToVersion7](
                           ExpectedJson& json) { json.teams[team].players.push_back(lines); };
  reads.push_back({{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, idLowByte}});  // playerId
  AddText(reads, name);
  AddText(reads, tag);
  if (version >= 8) {
    reads.push_back({{0x01, 0x2C}});  // rank 300
  } else {
    reads.push_back({{0x2C}});  // rank 44
  }
  reads.push_back({{0x00, 0x01, 0x11, 0x70}});  // score 70000
  reads.push_back({{0x01, 0x01}});              // kills 257
  reads.push_back({{0x02, 0x02}});              // deaths 514
  if (version >= 8) {
    reads.push_back({{0x03}});         // squad 3
    reads.push_back({{0x02}, joins});  // role 2
  } else {
    reads.push_back({{0x03}, joins});  // squad 3
  }
}

void AddHeader(Reads& reads, int version) {
  reads.push_back({{static_cast<std::uint8_t>(version)}});
  if (version >= 4) reads.push_back({{0x03}});  // serverState 3
  if (version >= 9) {
    reads.push_back({{0x02}, Sets(&ExpectedJson::platform, L"2")});
    reads.push_back({{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08},
                     Sets(&ExpectedJson::persistedIdPart1, L"72623859790382856")});
    reads.push_back({{0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18},
                     Sets(&ExpectedJson::persistedIdPart2, L"1230066625199609624")});
  }
  reads.push_back({{0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28},
                   Sets(&ExpectedJson::gameId, L"2387509390608836392")});
}

void AddMode(Reads& reads, const Mode& mode) {
  AddText(reads, mode.name,
          Sets(&ExpectedJson::gameMode, std::wstring(mode.name.begin(), mode.name.end())));
  reads.push_back({{0x04}, Sets(&ExpectedJson::mapVariant, L"4")});
  std::size_t sectionLength = 0;
  for (const Read& read : mode.section) sectionLength += read.bytes.size();
  reads.push_back({{static_cast<std::uint8_t>(sectionLength)},
                   [log = mode.log](ExpectedJson& json) { json.log = log; }});
  reads.insert(reads.end(), mode.section.begin(), mode.section.end());
}

void AddMapAndRound(Reads& reads, int version) {
  AddText(reads, "MP_1", Sets(&ExpectedJson::currentMap, L"MP_1"));
  if (version >= 4) {
    reads.push_back({{0x00, 0x00, 0x04, 0xB0}, Sets(&ExpectedJson::roundTime, L"1200")});
    reads.push_back(
        {{0x00, 0x01, 0x00, 0x64}, Sets(&ExpectedJson::defaultRoundTimeMultiplier, L"65636")});
  }
  reads.push_back({{0x40}, Sets(&ExpectedJson::maxPlayers, L"64")});
  reads.push_back({{0x05}, Sets(&ExpectedJson::waitingPlayers, L"5")});
}

void AddTeams(Reads& reads, int version) {
  const Effect addsTeam = [](ExpectedJson& json) { json.teams.emplace_back(); };
  reads.push_back({{0x02}});            // three teams
  reads.push_back({{0x01}, addsTeam});  // team 0 has one player
  reads.push_back({{0x00}, addsTeam});  // team 1 has none
  reads.push_back({{0x02}, addsTeam});  // team 2 has two
  reads.push_back({{0x0B}, [](ExpectedJson& json) { json.teams[1].faction = L"11"; }});
  reads.push_back({{0x0C}, [](ExpectedJson& json) { json.teams[2].faction = L"12"; }});
  AddPlayer(reads, version, 0, 0x01, "Ann", "AA", kAnn);
  AddPlayer(reads, version, 2, 0x02, "", "BBB", kBob);
  AddPlayer(reads, version, 2, 0x01, "Ann", "AA", kAnn);
}

class QueryResponseCutEverywhere : public testing::TestWithParam<int> {};

void CheckEveryCut(int version, const Mode& mode) {
  Reads reads;
  AddHeader(reads, version);
  AddMode(reads, mode);
  AddMapAndRound(reads, version);
  AddTeams(reads, version);
  Bytes whole;
  for (const Read& read : reads) whole = Join({whole, read.bytes});

  LogCapture log;
  ExpectedJson expected;
  std::size_t offset = 0;
  for (const Read& read : reads) {
    // Cut within this read: all reads before it have had their effect.
    for (std::size_t length = offset; length < offset + read.bytes.size(); ++length) {
      SCOPED_TRACE(length);
      Decoded decoded = Decode(std::span(whole).first(length));
      EXPECT_TRUE(decoded.cutShort);
      EXPECT_EQ(log.Take(), expected.log + "NetMessage::SegmentRead: Attempting read " +
                                std::to_string(read.bytes.size()) + " bytes from offset " +
                                std::to_string(offset) + " from stream of " +
                                std::to_string(length) + " bytes\n");
      // As the query's thread does.
      decoded.result.status = L"ERROR_MARSHALLING_EXCEPTION";
      EXPECT_EQ(BuildQueryJson(decoded.result), expected.Text(L"ERROR_MARSHALLING_EXCEPTION"));
    }
    offset += read.bytes.size();
    read.effect(expected);
  }
  const Decoded decoded = Decode(whole);
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.consumed, whole.size());
  EXPECT_EQ(log.Take(), expected.log);
  EXPECT_EQ(BuildQueryJson(decoded.result), expected.Text(L"SUCCESS"));
}

TEST_P(QueryResponseCutEverywhere, NoSection) { CheckEveryCut(GetParam(), kNoSection); }
TEST_P(QueryResponseCutEverywhere, Frontier) { CheckEveryCut(GetParam(), kFrontier); }
TEST_P(QueryResponseCutEverywhere, Breach) { CheckEveryCut(GetParam(), kBreach); }
TEST_P(QueryResponseCutEverywhere, Killrace) { CheckEveryCut(GetParam(), kKillrace); }
TEST_P(QueryResponseCutEverywhere, ArmsLadder) { CheckEveryCut(GetParam(), kArmsLadder); }
TEST_P(QueryResponseCutEverywhere, SeizeTheBanner) { CheckEveryCut(GetParam(), kSeizeTheBanner); }
TEST_P(QueryResponseCutEverywhere, VesselStrike) { CheckEveryCut(GetParam(), kVesselStrike); }
TEST_P(QueryResponseCutEverywhere, UnknownMode) { CheckEveryCut(GetParam(), kUnknown); }

INSTANTIATE_TEST_SUITE_P(Versions, QueryResponseCutEverywhere, testing::Range(3, 11));

}  // namespace
}  // namespace launcher
