// The event that the host gets for a command of a game.
#ifndef LAUNCHER_GAMEPIPE_COMMAND_EVENT_H_
#define LAUNCHER_GAMEPIPE_COMMAND_EVENT_H_

#include <string>

#include "core/event_info.h"

namespace launcher {

/// An event from `source`, named after the command; its arguments are the first eight of the words
/// that spaces separate in `args`. Throws std::bad_alloc.
EventPtr MakeCommandEvent(const std::wstring& source, const std::string& name,
                          const std::string& args);

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_COMMAND_EVENT_H_
