// Events, for people and for programs.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_EVENTS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_EVENTS_H_

#include <string>

#include "hosts/common/launcher_client.h"
#include "tools/launcher-console/output.h"

namespace console {

/// The local time and its offset, as 2026-03-01T12:34:56.789+01:00
std::string TimeStamp();

/// Without the empty arguments at the end.
Json ToJson(const host::Event& event, const std::string& time);

/// "BRENNA-GAME  StateChanged  READY"
std::string Describe(const host::Event& event);

bool IsState(const host::Event& event, const std::string& appId, const std::string& state);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_EVENTS_H_
