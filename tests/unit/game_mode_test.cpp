#include "query/game_mode.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cwctype>
#include <iterator>
#include <string>

namespace launcher {
namespace {

struct ModeName {
  std::wstring name;
  GameModeKind kind;
};

// In the order in which the names are tried.
const ModeName kModeNames[] = {
    {L"Frontier", GameModeKind::kFrontier},
    {L"Foothold", GameModeKind::kFrontier},
    {L"ArmorControl", GameModeKind::kFrontier},
    {L"SkyControl", GameModeKind::kFrontier},
    {L"Salvager", GameModeKind::kFrontier},
    {L"Demolition", GameModeKind::kFrontier},
    {L"Linkline", GameModeKind::kFrontier},
    {L"Breach", GameModeKind::kBreach},
    {L"Lastcrew", GameModeKind::kBreach},
    {L"KillRace", GameModeKind::kKillrace},
    {L"Killrace", GameModeKind::kKillrace},
    {L"ArmsLadder", GameModeKind::kArmsLadder},
    {L"SeizeTheBanner", GameModeKind::kSeizeTheBanner},
    {L"VesselStrike", GameModeKind::kVesselStrike},
};

TEST(GameMode, NameAnywhereInTheText) {
  for (const ModeName& mode : kModeNames) {
    EXPECT_EQ(ClassifyGameMode(mode.name), mode.kind);
    EXPECT_EQ(ClassifyGameMode(mode.name + L"0"), mode.kind);
    EXPECT_EQ(ClassifyGameMode(L"Large" + mode.name), mode.kind);
    EXPECT_EQ(ClassifyGameMode(L"Squad " + mode.name + L" 2"), mode.kind);
  }
}

TEST(GameMode, CaseCounts) {
  for (const ModeName& mode : kModeNames) {
    std::wstring lower = mode.name;
    std::wstring upper = mode.name;
    for (wchar_t& c : lower) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    for (wchar_t& c : upper) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
    EXPECT_EQ(ClassifyGameMode(lower), GameModeKind::kUnknown);
    EXPECT_EQ(ClassifyGameMode(upper), GameModeKind::kUnknown);
  }
  EXPECT_EQ(ClassifyGameMode(L"LastCrew"), GameModeKind::kUnknown);
  EXPECT_EQ(ClassifyGameMode(L""), GameModeKind::kUnknown);
}

TEST(GameMode, EveryLetterOfANameCounts) {
  for (const ModeName& mode : kModeNames) {
    EXPECT_EQ(ClassifyGameMode(mode.name.substr(1)), GameModeKind::kUnknown);
    EXPECT_EQ(ClassifyGameMode(mode.name.substr(0, mode.name.size() - 1)), GameModeKind::kUnknown);
  }
}

TEST(GameMode, FirstNameInTheOrderWins) {
  for (std::size_t first = 0; first < std::size(kModeNames); ++first) {
    for (std::size_t later = first; later < std::size(kModeNames); ++later) {
      const std::wstring text = kModeNames[later].name + kModeNames[first].name;
      EXPECT_EQ(ClassifyGameMode(text), kModeNames[first].kind) << first << ' ' << later;
    }
  }
}

}  // namespace
}  // namespace launcher
