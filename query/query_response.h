// Decoding of a game server's query response, protocol versions 3 to 10. The wire format is described
// in docs/formats.md.
#ifndef LAUNCHER_QUERY_QUERY_RESPONSE_H_
#define LAUNCHER_QUERY_QUERY_RESPONSE_H_

#include "query/net_message.h"
#include "query/query_result.h"

namespace launcher {

/// Decodes `message` into `result` and sets its status: "SUCCESS", "ERROR_PROTOCOL_VERSION" or
/// "ERROR_MARSHALLING_TEAMS_AND_PLAYERS". Throws NetMessageException at the first read past the end;
/// what was decoded until then stays in `result`: single fields as they are read, entries of a list
/// when they were read whole.
void QueryParseResponse(QueryResult& result, NetMessage& message);

}  // namespace launcher

#endif  // LAUNCHER_QUERY_QUERY_RESPONSE_H_
