// The known games.
#ifndef LAUNCHER_APPS_GAMES_H_
#define LAUNCHER_APPS_GAMES_H_

#include <memory>
#include <vector>

#include "apps/base_app.h"

namespace launcher {

/// All games, in the order in which the launcher makes them.
std::vector<std::unique_ptr<BaseApp>> CreateGames(EventSink& sink, NotifyCallback hostNotifier);

}  // namespace launcher

#endif  // LAUNCHER_APPS_GAMES_H_
