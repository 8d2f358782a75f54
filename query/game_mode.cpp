#include "query/game_mode.h"

namespace launcher {
namespace {

struct ModeName {
  std::wstring_view name;
  GameModeKind kind;
};

// Tried in this order. Two spellings of "Killrace" are in use.
constexpr ModeName kModeNames[] = {
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

}  // namespace

GameModeKind ClassifyGameMode(std::wstring_view gameMode) {
  for (const ModeName& mode : kModeNames) {
    if (gameMode.find(mode.name) != std::wstring_view::npos) return mode.kind;
  }
  return GameModeKind::kUnknown;
}

}  // namespace launcher
