// The exchange with the helper program that carries out a ping batch.
//
// Request, the helper's parameters (every field, the last one too, is followed by "|"):
//   ICMP|500|<pipe name>|<address>|<address>|...|
// Reply, one message on that pipe: 256 little-endian 32-bit numbers, the round-trip times in
// milliseconds in the order of the addresses.
#ifndef LAUNCHER_PING_PING_EXCHANGE_H_
#define LAUNCHER_PING_PING_EXCHANGE_H_

#include "ping/ping_info.h"

namespace launcher {

/// Starts the helper and waits, without a time limit, for its reply. On success sets the times of the
/// first 256 records; else leaves all records as they are. Runs on the batch's own thread. Throws
/// std::bad_alloc.
void PingThreadProc(PingInfos& infos);

}  // namespace launcher

#endif  // LAUNCHER_PING_PING_EXCHANGE_H_
