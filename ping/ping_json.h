// The text in which a ping batch's result reaches the host.
#ifndef LAUNCHER_PING_PING_JSON_H_
#define LAUNCHER_PING_PING_JSON_H_

#include <string>

#include "ping/ping_info.h"

namespace launcher {

/// A JSON array with one object for each record: "ipAddress" as given, nothing escaped, and
/// "roundTripMSEC" as a number. Lines end with a newline, indents are tabs.
std::wstring BuildPingJson(const PingInfos& infos);

}  // namespace launcher

#endif  // LAUNCHER_PING_PING_JSON_H_
