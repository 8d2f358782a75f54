// Server queries: one worker thread each, one event at its end.
#ifndef LAUNCHER_QUERY_QUERY_THREAD_H_
#define LAUNCHER_QUERY_QUERY_THREAD_H_

#include <cstdint>
#include <memory>

#include "core/event_sink.h"
#include "core/windows_api.h"
#include "query/query_exchange.h"

namespace launcher {

/// Copies the host's arguments. `sink` outlives the thread. Throws std::bad_alloc.
std::unique_ptr<QueryRequest> MakeQueryRequest(EventSink& sink, const wchar_t* requestId,
                                               const wchar_t* requestText2,
                                               const wchar_t* gameIdText, const wchar_t* address,
                                               std::uint32_t port);

/// The thread procedure. Takes ownership of its QueryRequest, carries the query out and posts
/// "QueryServerResult", whatever came of it. When memory for the event itself runs out, none is
/// posted. Returns 0.
DWORD WINAPI QueryThreadWrap(void* context);

}  // namespace launcher

#endif  // LAUNCHER_QUERY_QUERY_THREAD_H_
