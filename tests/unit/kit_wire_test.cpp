// The kit's own formats, byte by byte: programs that stand in for a game or a server are worth
// nothing when they make the same mistakes as the library.

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/query_wire.h"
#include "kit/wire.h"

namespace kit {
namespace {

std::vector<Command> ReadAll(FrameReader& reader) {
  std::vector<Command> commands;
  while (const auto command = reader.Next()) commands.push_back(*command);
  return commands;
}

TEST(KitFrame, EncodesNameAndArguments) {
  EXPECT_EQ(EncodeFrame({"X", ""}), (Bytes{0x4B, 0x45, 0x08, 0x00, 0x01, 0x58, 0x00, 0x00}));
  EXPECT_EQ(EncodeFrame({"hi", "a b"}),
            (Bytes{0x4B, 0x45, 0x0C, 0x00, 0x02, 'h', 'i', 0x03, 0x00, 'a', ' ', 'b'}));
}

TEST(KitFrame, LengthsAreLittleEndian) {
  const Bytes frame = EncodeFrame({"n", std::string(0x1234, 'a')});
  EXPECT_EQ(Bytes(frame.begin(), frame.begin() + 8),
            (Bytes{0x4B, 0x45, 0x3C, 0x12, 0x01, 'n', 0x34, 0x12}));
}

TEST(KitFrame, RefusesWhatTheLengthsCannotExpress) {
  EXPECT_NO_THROW(EncodeFrame({std::string(255, 'n'), ""}));
  EXPECT_THROW(EncodeFrame({std::string(256, 'n'), ""}), std::length_error);
  EXPECT_NO_THROW(EncodeFrame({"n", std::string(65535 - 8, 'a')}));
  EXPECT_THROW(EncodeFrame({"n", std::string(65535 - 7, 'a')}), std::length_error);
}

TEST(KitFrameReader, ReadsTwoCommandsSplitAtEveryPosition) {
  const Bytes bytes{0x4B, 0x45, 0x08, 0x00, 0x01, 'X',  0x00, 0x00, 0x4B, 0x45,
                    0x0C, 0x00, 0x02, 'h',  'i',  0x03, 0x00, 'a',  ' ',  'b'};
  for (std::size_t split = 0; split <= bytes.size(); ++split) {
    SCOPED_TRACE(split);
    FrameReader reader;
    reader.Append(bytes.data(), split);
    std::vector<Command> commands = ReadAll(reader);
    EXPECT_EQ(commands.size(), split < 8 ? 0U : split < 20 ? 1U : 2U);
    reader.Append(bytes.data() + split, bytes.size() - split);
    for (const Command& command : ReadAll(reader)) commands.push_back(command);
    ASSERT_EQ(commands.size(), 2U);
    EXPECT_EQ(commands[0].name, "X");
    EXPECT_EQ(commands[0].arguments, "");
    EXPECT_EQ(commands[1].name, "hi");
    EXPECT_EQ(commands[1].arguments, "a b");
  }
}

TEST(KitFrameReader, RefusesBytesThatAreNoFrame) {
  const std::vector<Bytes> wrong{
      {0x4A, 0x45, 0x08, 0x00, 0x01, 'X', 0x00, 0x00},        // not "K"
      {0x4B, 0x44, 0x08, 0x00, 0x01, 'X', 0x00, 0x00},        // not "E"
      {0x4B, 0x45, 0x07, 0x00, 0x01, 'X', 0x00, 0x00},        // total too small for the name
      {0x4B, 0x45, 0x08, 0x00, 0x01, 'X', 0x01, 0x00},        // arguments reach past the total
      {0x4B, 0x45, 0x09, 0x00, 0x01, 'X', 0x00, 0x00, 0x00},  // total reaches past the arguments
  };
  for (const Bytes& bytes : wrong) {
    FrameReader reader;
    reader.Append(bytes.data(), bytes.size());
    EXPECT_THROW(reader.Next(), std::runtime_error) << testing::PrintToString(bytes);
  }
}

TEST(KitLaunchLine, HasSixFields) {
  const LaunchRequest request =
      ParseLaunchLine(LR"(YES|SW_SHOWNA|C:\game\ag4.exe|ag4.exe|C:\game\|-a "b|c" |)");
  EXPECT_TRUE(request.flag);
  EXPECT_EQ(request.showMode, L"SW_SHOWNA");
  EXPECT_EQ(request.binaryPath, LR"(C:\game\ag4.exe)");
  EXPECT_EQ(request.binaryName, L"ag4.exe");
  EXPECT_EQ(request.workingDirectory, LR"(C:\game\)");
  EXPECT_EQ(request.commandLine, LR"(-a "b|c" |)");
}

TEST(KitLaunchLine, MayBeALinkAndNothingElse) {
  const LaunchRequest request = ParseLaunchLine(L"NO|SW_SHOWNA|ostrel://x|||");
  EXPECT_FALSE(request.flag);
  EXPECT_EQ(request.binaryPath, L"ostrel://x");
  EXPECT_EQ(request.binaryName, L"");
  EXPECT_EQ(request.workingDirectory, L"");
  EXPECT_EQ(request.commandLine, L"");
}

TEST(KitLaunchLine, RefusesOtherForms) {
  EXPECT_THROW(ParseLaunchLine(L"NO|SW_SHOWNA|ostrel://x||"), std::invalid_argument);
  EXPECT_THROW(ParseLaunchLine(L"no|SW_SHOWNA|a|b|c|d"), std::invalid_argument);
  EXPECT_THROW(ParseLaunchLine(L"NO|SW_SHOWNA||b|c|d"), std::invalid_argument);
}

TEST(KitPingLine, NamesTimeLimitPipeAndAddresses) {
  const PingRequest request = ParsePingLine(LR"(ICMP|500|\\.\pipe\{A}|10.0.0.1|10.0.0.2|)");
  EXPECT_EQ(request.timeoutMilliseconds, 500U);
  EXPECT_EQ(request.pipeName, LR"(\\.\pipe\{A})");
  EXPECT_EQ(request.addresses, (std::vector<std::wstring>{L"10.0.0.1", L"10.0.0.2"}));
}

TEST(KitPingLine, MayHaveNoAddressOrAnEmptyOne) {
  EXPECT_TRUE(ParsePingLine(L"ICMP|500|P|").addresses.empty());
  EXPECT_EQ(ParsePingLine(L"ICMP|500|P||").addresses, std::vector<std::wstring>(1));
}

TEST(KitPingLine, RefusesOtherForms) {
  for (const wchar_t* const line :
       {L"ICMP|500|P|10.0.0.1", L"ICMP|500|", L"ICMP|500||", L"ICMP||P|", L"ICMP|5x|P|",
        L"ICMP|9999999|P|", L"TCP|500|P|"}) {
    EXPECT_THROW(ParsePingLine(line), std::invalid_argument) << testing::PrintToString(line);
  }
}

TEST(KitPingReply, Is256LittleEndianNumbers) {
  const Bytes reply = EncodePingReply({1, 0x12345678, 0xFFFFFFFF});
  ASSERT_EQ(reply.size(), 1024U);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 16),
            (Bytes{1, 0, 0, 0, 0x78, 0x56, 0x34, 0x12, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}));
  EXPECT_EQ(reply.back(), 0);
}

TEST(KitPingReply, DropsWhatIsBeyond256) {
  const Bytes reply = EncodePingReply(std::vector<std::uint32_t>(300, 7));
  ASSERT_EQ(reply.size(), 1024U);
  EXPECT_EQ(Bytes(reply.end() - 4, reply.end()), (Bytes{7, 0, 0, 0}));
}

TEST(KitQuery, ReadsBothRequests) {
  const Bytes challenge{0xFF, 0xFF, 0xFF, 0xFF, 0x51, 0x50, 0x5F, 1, 2, 3, 4, 5, 6, 7, 8};
  const auto first = ParseQueryDatagram(challenge);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->gameId, 0x0102030405060708U);
  EXPECT_FALSE(first->challengeId);

  Bytes query = challenge;
  query.insert(query.end(), {0xA0, 0xB0, 0xC0, 0xD0});
  const auto second = ParseQueryDatagram(query);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->gameId, 0x0102030405060708U);
  EXPECT_EQ(second->challengeId, 0xA0B0C0D0U);
}

TEST(KitQuery, RefusesOtherDatagrams) {
  const Bytes challenge{0xFF, 0xFF, 0xFF, 0xFF, 0x51, 0x50, 0x5F, 0, 0, 0, 0, 0, 0, 0, 1};
  EXPECT_FALSE(ParseQueryDatagram(Bytes(challenge.begin(), challenge.end() - 1)));
  Bytes longer = challenge;
  longer.push_back(0);
  EXPECT_FALSE(ParseQueryDatagram(longer));
  for (std::size_t i = 0; i < 7; ++i) {
    Bytes wrong = challenge;
    wrong[i] ^= 1;
    EXPECT_FALSE(ParseQueryDatagram(wrong)) << "byte " << i;
  }
}

TEST(KitQuery, ChallengeResponseOfTwelveBytesHasItsIdAtTheEnd) {
  EXPECT_EQ(EncodeChallengeResponse(0x12345678, 12),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(EncodeChallengeResponse(0x12345678, 4), (Bytes{0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(EncodeChallengeResponse(0x12345678, 13),
            (Bytes{0x12, 0x34, 0x56, 0x78, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(EncodeChallengeResponse(0x12345678, 3), (Bytes{0x12, 0x34, 0x56}));
}

ServerReport TwoTeams(std::uint8_t version) {
  ServerReport report;
  report.version = version;
  report.serverState = 3;
  report.platform = 0x09;
  report.persistedIdPart1 = 0x1112131415161718;
  report.persistedIdPart2 = 0x2122232425262728;
  report.gameId = 0x3132333435363738;
  report.gameMode = "Mo";
  report.mapVariant = 0x41;
  report.modeSection = {0xDD, 0xEE};
  report.currentMap = "Map";
  report.roundTime = 0x51525354;
  report.defaultRoundTimeMultiplier = 0x61626364;
  report.maxPlayers = 0x42;
  report.waitingPlayers = 0x43;
  report.teams.resize(2);
  report.teams[0].faction = 0x70;
  report.teams[1].faction = 0x71;
  report.teams[1].players.push_back(
      {0x8182838485868788, "N", "T", 0x0192, 0x93949596, 0x9798, 0x999A, 0x9B, 0x9C});
  return report;
}

TEST(KitQuery, ResponseOfVersion10) {
  EXPECT_EQ(EncodeQueryResponse(TwoTeams(10)),
            (Bytes{10,                                              // version
                   3,                                               // server state
                   0x09,                                            // platform
                   0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,  // persisted id, first part
                   0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28,  // persisted id, second part
                   0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38,  // game id
                   2,    'M',  'o',                                 // game mode
                   0x41,                                            // map variant
                   2,    0xDD, 0xEE,                                // mode section
                   3,    'M',  'a',  'p',                           // map
                   0x51, 0x52, 0x53, 0x54,                          // round time
                   0x61, 0x62, 0x63, 0x64,                          // multiplier
                   0x42, 0x43,                                      // players: most, waiting
                   1,                                               // teams, less one
                   0,    1,                                         // players in each team
                   0x71,                                            // faction of the second team
                   0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88,  // player id
                   1,    'N',  1,    'T',                           // name and tag
                   0x01, 0x92,                                      // rank
                   0x93, 0x94, 0x95, 0x96,                          // score
                   0x97, 0x98,                                      // kills
                   0x99, 0x9A,                                      // deaths
                   0x9B, 0x9C}));                                   // squad and role
}

TEST(KitQuery, ResponseOfVersion3HasNoStateNoRoundTimesAndShortRanks) {
  EXPECT_EQ(EncodeQueryResponse(TwoTeams(3)),
            (Bytes{3,    0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 2,    'M',  'o',
                   0x41, 2,    0xDD, 0xEE, 3,    'M',  'a',  'p',  0x42, 0x43, 1,    0,
                   1,    0x71, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 1,    'N',
                   1,    'T',  0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9A, 0x9B}));
}

TEST(KitQuery, VersionsBetweenAddTheirFields) {
  const std::size_t version3 = EncodeQueryResponse(TwoTeams(3)).size();
  const std::size_t stateAndRoundTimes = 1 + 8;
  const std::size_t longRankAndRole = 1 + 1;
  const std::size_t platformAndPersistedId = 1 + 16;
  EXPECT_EQ(EncodeQueryResponse(TwoTeams(4)).size(), version3 + stateAndRoundTimes);
  EXPECT_EQ(EncodeQueryResponse(TwoTeams(7)).size(), version3 + stateAndRoundTimes);
  EXPECT_EQ(EncodeQueryResponse(TwoTeams(8)).size(),
            version3 + stateAndRoundTimes + longRankAndRole);
  EXPECT_EQ(EncodeQueryResponse(TwoTeams(9)).size(),
            version3 + stateAndRoundTimes + longRankAndRole + platformAndPersistedId);
}

TEST(KitQuery, RoundTimesBelongToServerState3) {
  ServerReport report = TwoTeams(4);
  const std::size_t inRound = EncodeQueryResponse(report).size();
  report.serverState = 2;
  EXPECT_EQ(EncodeQueryResponse(report).size(), inRound - 8);
}

TEST(KitQuery, NoTeamsAre0x80) {
  ServerReport report;
  report.version = 3;
  EXPECT_EQ(EncodeQueryResponse(report),
            (Bytes{3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80}));
}

TEST(KitQuery, RefusesTextsThatTheLengthByteCannotExpress) {
  ServerReport report;
  report.currentMap = std::string(255, 'm');
  EXPECT_NO_THROW(EncodeQueryResponse(report));
  report.currentMap += 'm';
  EXPECT_THROW(EncodeQueryResponse(report), std::length_error);
}

TEST(KitModeSection, IsWholeEntriesOfItsMode) {
  std::vector<Team> teams(2);
  teams[0].players.resize(1);
  teams[0].players[0].playerId = 0x0102030405060708;
  EXPECT_EQ(SampleModeSection("FrontierLarge0", teams),
            (Bytes{1, 0x01, 0x54, 0x01, 0x90, 2, 0x01, 0x18, 0x01, 0x90}));  // 340, 280 of 400
  EXPECT_EQ(SampleModeSection("Breach", teams), (Bytes{1, 2, 0, 75, 0, 100, 2, 4}));
  EXPECT_EQ(SampleModeSection("KillRace", teams), (Bytes{1, 0, 31, 0, 100, 2, 0, 42, 0, 100}));
  EXPECT_EQ(SampleModeSection("ArmsLadder", teams), (Bytes{20, 1, 1, 2, 3, 4, 5, 6, 7, 8, 1}));
  EXPECT_EQ(SampleModeSection("SeizeTheBanner", teams),
            (Bytes{1, 0, 1, 0, 3, 0x04, 0xB0, 2, 0, 2, 0, 3, 0x04, 0xB0}));
  EXPECT_EQ(SampleModeSection("VesselStrike", teams),
            (Bytes{1, 1, 0x03, 0x20, 2, 2, 0x02, 0xBC}));  // 800, 700
  EXPECT_TRUE(SampleModeSection("Training", teams).empty());
}

TEST(KitModeSection, StaysWithinItsLengthByte) {
  std::vector<Team> teams(128);
  for (Team& team : teams) team.players.resize(255);
  for (const char* const mode :
       {"Frontier", "KillRace", "ArmsLadder", "SeizeTheBanner", "VesselStrike"}) {
    EXPECT_LE(SampleModeSection(mode, teams).size(), 255U) << mode;
  }
}

}  // namespace
}  // namespace kit
