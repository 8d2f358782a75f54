// What the rest of the library knows of the launcher: a place to leave events for the host. The
// applications and the workers see this interface alone, so that only the exports and the launcher
// itself include core/launcher/.
#ifndef LAUNCHER_CORE_EVENT_SINK_H_
#define LAUNCHER_CORE_EVENT_SINK_H_

#include "core/event_info.h"

namespace launcher {

class EventSink {
 public:
  /// Posts the change of an application's state, "PENDING", "READY" or "GAMEISGONE", through the
  /// first slot of the host's interface. When memory runs out nothing is queued. Any thread.
  virtual void PostStateChange(const wchar_t* appId, const wchar_t* state) = 0;

  /// Queues a finished event. Any thread.
  virtual void QueueEvent(EventPtr event) = 0;

 protected:
  ~EventSink() = default;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_EVENT_SINK_H_
