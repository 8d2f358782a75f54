// Responses of every protocol version and every kind of mode, whole and cut at every byte: what was
// read until then is in the result, and nothing else. That results become the right text is the
// matter of query_json_test.cpp.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/log_capture.h"
#include "tests/unit/response_bytes.h"

namespace launcher {
namespace {

using Effect = std::function<void(QueryResult&)>;

// One read of the decoder: the bytes that it takes, and what it changes once they were there.
struct Read {
  Bytes bytes;
  Effect effect = [](QueryResult&) {};
};
using Reads = std::vector<Read>;

// A text is two reads, its length and its bytes.
void AddText(
    Reads& reads, const std::string& text, Effect effect = [](QueryResult&) {}) {
  reads.push_back({{static_cast<std::uint8_t>(text.size())}});
  if (!text.empty()) reads.push_back({Ascii(text)});
  reads.back().effect = std::move(effect);
}

// A mode and its section.
struct Mode {
  std::wstring name;
  Reads section;
};

const Mode kModes[] = {
    {L"Frontier0", {}},
    {L"Frontier0",
     {{{0x02}},        // team 2
      {{0x01, 0x02}},  // tickets 258
      {{0x01, 0x90},
       [](QueryResult& to) {
         to.frontierScores[2] = {258, 400};
       }},
      {{0x01}},
      {{0x00, 0xFF}},
      {{0x03, 0xE8},
       [](QueryResult& to) {
         to.frontierScores[1] = {255, 1000};
       }},
      {{0x02}},  // team 2 again
      {{0x00, 0x01}},
      {{0x00, 0x02},
       [](QueryResult& to) {
         to.frontierScores[2] = {1, 2};
       }}}},
    {L"Lastcrew0",  // single fields are kept as they are read
     {{{0x01}, [](QueryResult& to) { to.breach.attackersTeam = 1; }},
      {{0x02}, [](QueryResult& to) { to.breach.defendersTeam = 2; }},
      {{0x01, 0x4B}, [](QueryResult& to) { to.breach.tickets = 331; }},
      {{0x01, 0x64}, [](QueryResult& to) { to.breach.ticketsMax = 356; }},
      {{0x03}, [](QueryResult& to) { to.breach.bases = 3; }},
      {{0x04}, [](QueryResult& to) { to.breach.basesMax = 4; }}}},
    {L"Killrace0",
     {{{0x02}},
      {{0x01, 0x14}},
      {{0x01, 0x64},
       [](QueryResult& to) {
         to.killraceScores[2] = {276, 356};
       }},
      {{0x02}},
      {{0x00, 0x1F}},
      {{0x00, 0x65},
       [](QueryResult& to) {
         to.killraceScores[2] = {31, 101};
       }}}},
    {L"ArmsLadder0",
     {{{0x14}, [](QueryResult& to) { to.maxArmsLadderLevel = 20; }},
      {{0x02}},  // two players
      {{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}},
      {{0x07},
       [](QueryResult& to) {
         to.armsLadderPlayers.push_back({0x0102030405060708, 7});
       }},
      {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x01}},
      {{0x09},
       [](QueryResult& to) {
         to.armsLadderPlayers.push_back({4097, 9});
       }}}},
    {L"SeizeTheBanner0",
     {{{0x02}},
      {{0x01, 0x01}},
      {{0x01, 0x03}},
      {{0x04, 0xB0},
       [](QueryResult& to) {
         to.seizeTheBannerScores[2] = {257, 259, 1200};
       }},
      {{0x02}},
      {{0x00, 0x02}},
      {{0x00, 0x04}},
      {{0x04, 0xB1},
       [](QueryResult& to) {
         to.seizeTheBannerScores[2] = {2, 4, 1201};
       }}}},
    {L"VesselStrike0",
     {{{0x02}},
      {{0x01}},
      {{0x03, 0x84},
       [](QueryResult& to) {
         to.vesselStrikeScores[2] = {1, 900};
       }},
      {{0x02}},
      {{0x02}},
      {{0x03, 0x20},
       [](QueryResult& to) {
         to.vesselStrikeScores[2] = {2, 800};
       }}}},
    {L"Chess", {{{0x01}}, {{0x02}}, {{0x03}}}},  // unknown: skipped byte by byte
};

constexpr char kUnknownModeLine[] = "AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: Chess\n";

void AddHeader(Reads& reads, int version) {
  reads.push_back({{static_cast<std::uint8_t>(version)}});
  if (version >= 4) reads.push_back({{0x03}});  // serverState 3: in a round
  if (version >= 9) {
    reads.push_back({{0x02}, [](QueryResult& to) { to.platform = 2; }});
    reads.push_back({{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08},
                     [](QueryResult& to) { to.persistedIdPart1 = 0x0102030405060708; }});
    reads.push_back({{0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18},
                     [](QueryResult& to) { to.persistedIdPart2 = 0x1112131415161718; }});
  }
  reads.push_back({{0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28},
                   [](QueryResult& to) { to.gameId = 0x2122232425262728; }});
}

// Returns the number of reads up to the one that the line of an unknown mode follows.
std::size_t AddMode(Reads& reads, const Mode& mode) {
  AddText(reads, {mode.name.begin(), mode.name.end()},
          [&mode](QueryResult& to) { to.gameMode = mode.name; });
  reads.push_back({{0x04}, [](QueryResult& to) { to.mapVariant = 4; }});
  std::size_t length = 0;
  for (const Read& read : mode.section) length += read.bytes.size();
  reads.push_back({{static_cast<std::uint8_t>(length)}});
  const std::size_t before = reads.size();
  reads.insert(reads.end(), mode.section.begin(), mode.section.end());
  return before;
}

void AddMapAndRound(Reads& reads, int version) {
  AddText(reads, "MP_1", [](QueryResult& to) { to.currentMap = L"MP_1"; });
  if (version >= 4) {
    reads.push_back({{0x00, 0x00, 0x04, 0xB0}, [](QueryResult& to) { to.roundTime = 1200; }});
    reads.push_back(
        {{0x00, 0x01, 0x00, 0x64}, [](QueryResult& to) { to.defaultRoundTimeMultiplier = 65636; }});
  }
  reads.push_back({{0x40}, [](QueryResult& to) { to.maxPlayers = 64; }});
  reads.push_back({{0x05}, [](QueryResult& to) { to.waitingPlayers = 5; }});
}

// A player joins its team with its last byte.
void AddPlayer(Reads& reads, int version, std::size_t team, std::uint8_t id, const char* name,
               const char* tag, std::wstring_view wideName, std::wstring_view wideTag) {
  const bool isNew = version >= 8;  // a rank of 16 bits, and a role
  PlayerRecord player{0x1000U + id, wideName, wideTag, 44, 70000, 257, 514, 3, 1};
  if (isNew) {
    player.rank = 300;
    player.role = 2;
  }
  reads.push_back({{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, id}});
  AddText(reads, name);
  AddText(reads, tag);
  reads.push_back({isNew ? Bytes{0x01, 0x2C} : Bytes{0x2C}});  // rank
  reads.push_back({{0x00, 0x01, 0x11, 0x70}});                 // score
  reads.push_back({{0x01, 0x01}});                             // kills
  reads.push_back({{0x02, 0x02}});                             // deaths
  reads.push_back({{0x03}});                                   // squad
  if (isNew) reads.push_back({{0x02}});                        // role
  reads.back().effect = [=](QueryResult& to) { to.teams[team].players.push_back(player); };
}

void AddTeams(Reads& reads, int version) {
  const Effect addsTeam = [](QueryResult& to) { to.teams.emplace_back(); };
  reads.push_back({{0x02}});            // three teams
  reads.push_back({{0x01}, addsTeam});  // team 0 has one player
  reads.push_back({{0x00}, addsTeam});  // team 1 has none
  reads.push_back({{0x02}, addsTeam});  // team 2 has two
  reads.push_back({{0x0B}, [](QueryResult& to) { to.teams[1].faction = 11; }});
  reads.push_back({{0x0C}, [](QueryResult& to) { to.teams[2].faction = 12; }});
  AddPlayer(reads, version, 0, 1, "Ann", "AA", L"Ann", L"AA");
  AddPlayer(reads, version, 2, 2, "", "BBB", L"", L"BBB");
  AddPlayer(reads, version, 2, 1, "Ann", "AA", L"Ann", L"AA");
}

void CheckEveryCut(int version, const Mode& mode) {
  Reads reads;
  AddHeader(reads, version);
  const std::size_t readsBeforeLine = AddMode(reads, mode);
  AddMapAndRound(reads, version);
  AddTeams(reads, version);
  Bytes whole;
  for (const Read& read : reads) whole = Join({whole, read.bytes});

  QueryResult expected;
  std::string line;
  std::size_t offset = 0;
  LogCapture log;
  for (std::size_t i = 0; i < reads.size(); ++i) {
    if (i == readsBeforeLine && mode.name == L"Chess") line = kUnknownModeLine;
    // Cut within this read: all reads before it have had their effect.
    for (std::size_t length = offset; length < offset + reads[i].bytes.size(); ++length) {
      SCOPED_TRACE(length);
      Decoded decoded = Decode(std::span(whole).first(length));
      EXPECT_TRUE(decoded.cutShort);
      EXPECT_EQ(log.Take(), line + "NetMessage::SegmentRead: Attempting read " +
                                std::to_string(reads[i].bytes.size()) + " bytes from offset " +
                                std::to_string(offset) + " from stream of " +
                                std::to_string(length) + " bytes\n");
      EXPECT_EQ(decoded.result.status,
                line.empty() ? QueryStatus::kNone : QueryStatus::kUnknownGameMode);
      decoded.result.status = expected.status;
      EXPECT_EQ(QueryJson(decoded.result), QueryJson(expected));
      // Of which the text shows nothing without bases.
      EXPECT_EQ(decoded.result.breach, expected.breach);
    }
    offset += reads[i].bytes.size();
    reads[i].effect(expected);
  }
  const Decoded decoded = Decode(whole);
  EXPECT_FALSE(decoded.cutShort);
  EXPECT_EQ(decoded.consumed, whole.size());
  EXPECT_EQ(log.Take(), line);
  expected.status = QueryStatus::kSuccess;
  EXPECT_EQ(QueryJson(decoded.result), QueryJson(expected));
}

TEST(QueryCut, EveryVersionAndModeAtEveryByte) {
  for (int version = 3; version <= 10; ++version) {
    for (const Mode& mode : kModes) {
      SCOPED_TRACE(std::to_string(version) + " " + std::string(mode.name.begin(), mode.name.end()));
      CheckEveryCut(version, mode);
    }
  }
}

}  // namespace
}  // namespace launcher
