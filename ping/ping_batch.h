// Ping batches: one worker thread each, one event at its end.
#ifndef LAUNCHER_PING_PING_BATCH_H_
#define LAUNCHER_PING_PING_BATCH_H_

#include <memory>
#include <string>

#include "core/event_sink.h"
#include "core/windows_api.h"
#include "ping/ping_info.h"

namespace launcher {

/// What a batch's thread works on.
struct PingContext {
  EventSink& sink;
  PingInfos infos;
  std::wstring batchId;
};

/// Copies the host's arguments. `sink` outlives the thread. Throws std::bad_alloc.
std::unique_ptr<PingContext> MakePingContext(EventSink& sink, const wchar_t* batchId,
                                             const wchar_t* const* addresses,
                                             unsigned long long count);

/// The thread procedure. Takes ownership of its PingContext, carries the batch out and posts
/// "PingBatchResult". When memory runs out no event is posted. Returns 0.
DWORD WINAPI PingThreadWrap(void* context);

}  // namespace launcher

#endif  // LAUNCHER_PING_PING_BATCH_H_
