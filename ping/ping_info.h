// One address of a ping batch.
#ifndef LAUNCHER_PING_PING_INFO_H_
#define LAUNCHER_PING_PING_INFO_H_

#include <cstdint>
#include <string>
#include <vector>

namespace launcher {

struct PingInfo {
  /// As the host gave it, neither parsed nor checked.
  std::wstring ipAddress;
  /// Milliseconds, from the helper's reply; 0 when it gave none.
  std::uint32_t roundTripMsec = 0;
};

/// In the host's order.
using PingInfos = std::vector<PingInfo>;

}  // namespace launcher

#endif  // LAUNCHER_PING_PING_INFO_H_
