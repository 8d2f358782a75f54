// What the rest of the library knows of the launcher: a place to leave events for the host. The
// applications and the workers see this interface alone, so that no folder includes the roof.
#ifndef LAUNCHER_CORE_EVENT_SINK_H_
#define LAUNCHER_CORE_EVENT_SINK_H_

#include <string>

#include "core/event_info.h"

namespace launcher {

class EventSink {
 public:
  /// Queues an event made of ten texts; null arguments read as empty. When memory runs out nothing is
  /// queued. Any thread.
  virtual void PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                         const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3,
                         const wchar_t* arg4, const wchar_t* arg5, const wchar_t* arg6,
                         const wchar_t* arg7) = 0;

  /// Queues a finished event. Any thread.
  virtual void QueueEvent(EventPtr event) = 0;

 protected:
  ~EventSink() = default;
};

/// Posts a change of an application's state: "PENDING", "READY" or "GAMEISGONE".
inline void PostStateChange(EventSink& sink, const std::wstring& appId, const wchar_t* state) {
  sink.PostEvent(appId.c_str(), L"StateChanged", state, nullptr, nullptr, nullptr, nullptr, nullptr,
                 nullptr, nullptr);
}

}  // namespace launcher

#endif  // LAUNCHER_CORE_EVENT_SINK_H_
