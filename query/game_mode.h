// The kinds of game modes. Each has a section of its own in a server's response.
#ifndef LAUNCHER_QUERY_GAME_MODE_H_
#define LAUNCHER_QUERY_GAME_MODE_H_

#include <string_view>

namespace launcher {

enum class GameModeKind {
  kFrontier,
  kBreach,
  kKillrace,
  kArmsLadder,
  kSeizeTheBanner,
  kVesselStrike,
  kUnknown,
};

/// The kind whose name occurs in the mode's name, case-sensitive; the first in a fixed order when
/// several do.
GameModeKind ClassifyGameMode(std::wstring_view gameMode);

}  // namespace launcher

#endif  // LAUNCHER_QUERY_GAME_MODE_H_
