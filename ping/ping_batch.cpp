#include "ping/ping_batch.h"

#include <new>
#include <utility>

#include "core/log.h"
#include "ping/ping_exchange.h"
#include "ping/ping_json.h"

namespace launcher {
namespace {

constexpr wchar_t kLabel[] = L"AppLauncher::PingThreadWrap";

void PostResult(EventSink& sink, const std::wstring& batchId, const PingInfos& infos) {
  const std::wstring json = BuildPingJson(infos);
  EventFields fields;
  fields.name = L"PingBatchResult";
  fields.arguments[0] = batchId;
  fields.arguments[1] = json;
  EventPtr event = EventInfo::Create(fields);
  LogLine(L"%s: JSON:\n%s\n\n", kLabel, json.c_str());
  sink.QueueEvent(std::move(event));
}

void RunBatch(std::unique_ptr<PingContext> context) {
  EventSink& sink = context->sink;
  PingInfos infos = std::move(context->infos);
  const std::wstring batchId = std::move(context->batchId);
  context.reset();

  LogLine(L"%s: Calling ping thread\n", kLabel);
  PingThreadProc(infos);
  PostResult(sink, batchId, infos);
  for (const PingInfo& info : infos) {
    LogLine(L"%s: Ping from IP %s is %d msec\n", kLabel, info.ipAddress.c_str(),
            static_cast<int>(info.roundTripMsec));
  }
}

}  // namespace

std::unique_ptr<PingContext> MakePingContext(EventSink& sink, const wchar_t* batchId,
                                             const wchar_t* const* addresses,
                                             unsigned long long count) {
  LogLine(L"%s: Starting new batch\n", L"AppLauncher::PingBatch");
  PingInfos infos;
  infos.reserve(count);
  for (unsigned long long i = 0; i < count; ++i) {
    LogLine(L"%s: Creating PingInfo for %s\n", L"AppLauncher::PingBatch", addresses[i]);
    infos.push_back({addresses[i]});
  }
  return std::unique_ptr<PingContext>(new PingContext{sink, std::move(infos), batchId});
}

DWORD WINAPI PingThreadWrap(void* context) {
  // Taken before anything else, so that the span covers the helper and the freeing of the records.
  // A wrap of the counter gives the right difference all the same.
  const DWORD start = GetTickCount();
  try {
    RunBatch(std::unique_ptr<PingContext>(static_cast<PingContext*>(context)));
  } catch (const std::bad_alloc&) {
    // There is no memory for a result either, and the host must live on.
  }
  LogLine("%s: Ping took %u msec\n", "AppLauncher::PingThreadWrap",
          static_cast<unsigned int>(GetTickCount() - start));
  return 0;
}

}  // namespace launcher
