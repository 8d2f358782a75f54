// The two-step exchange with a game server over UDP: a challenge, then the query proper, each tried
// exactly once. Numbers are big-endian; gameId has 64 bits.
//
//   challenge request, 15 bytes:  FF FF FF FF  "QP_"  gameId
//   challenge response:           challengeId, 32 bits, at offset 8 of a response of exactly 12 bytes
//                                 and at offset 0 of any other
//   query request, 19 bytes:      FF FF FF FF  "QP_"  gameId  challengeId
//   query response:               see query_response.h
#ifndef LAUNCHER_QUERY_QUERY_EXCHANGE_H_
#define LAUNCHER_QUERY_QUERY_EXCHANGE_H_

#include <cstdint>
#include <string>

#include "core/event_sink.h"
#include "query/query_result.h"

namespace launcher {

/// What a query's thread works on.
struct QueryRequest {
  std::wstring requestId;
  EventSink& sink;
  std::wstring requestText2;
  std::wstring gameIdText;
  /// Dotted; no name is looked up.
  std::wstring address;
  /// The low 16 bits count.
  std::uint32_t port;
  QueryResult result;
};

/// Carries the exchange out and leaves the outcome in `request.result`. Waits at most one second for
/// each of the two responses. Runs on the query's own thread. Throws NetMessageException for a
/// response that is too short, std::bad_alloc.
void QueryThreadProc(QueryRequest& request);

}  // namespace launcher

#endif  // LAUNCHER_QUERY_QUERY_EXCHANGE_H_
