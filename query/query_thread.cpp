#include "query/query_thread.h"

#include <exception>
#include <new>

#include "core/log.h"
#include "query/query_json.h"

namespace launcher {
namespace {

void PostResult(const QueryRequest& request) {
  EventFields fields;
  fields.source = request.requestId;
  fields.name = L"QueryServerResult";
  fields.arguments[0] = request.requestText2;
  request.sink.QueueEvent(MakeQueryEvent(fields, request.result));
}

void RunQuery(QueryRequest& request) {
  bool failed = false;
  try {
    QueryThreadProc(request);
  } catch (const std::exception&) {
    // Released before the line is written, which may need memory of its own.
    failed = true;
  }
  if (failed) {
    LogLine(L"%s: Query request %s (%s) failed with exception\n", L"AppLauncher::QueryThreadWrap",
            request.requestText2.c_str(), request.gameIdText.c_str());
    request.result.status = QueryStatus::kMarshallingException;
  }
  PostResult(request);
}

}  // namespace

std::unique_ptr<QueryRequest> MakeQueryRequest(EventSink& sink, const wchar_t* requestId,
                                               const wchar_t* requestText2,
                                               const wchar_t* gameIdText, const wchar_t* address,
                                               std::uint32_t port) {
  return std::unique_ptr<QueryRequest>(
      new QueryRequest{requestId, sink, requestText2, gameIdText, address, port, {}});
}

DWORD WINAPI QueryThreadWrap(void* context) {
  const std::unique_ptr<QueryRequest> request(static_cast<QueryRequest*>(context));
  try {
    RunQuery(*request);
  } catch (const std::bad_alloc&) {
    // There is no memory for a result either, and the host must live on.
  }
  return 0;
}

}  // namespace launcher
