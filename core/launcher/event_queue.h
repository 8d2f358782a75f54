// The events that wait for the host.
#ifndef LAUNCHER_CORE_LAUNCHER_EVENT_QUEUE_H_
#define LAUNCHER_CORE_LAUNCHER_EVENT_QUEUE_H_

#include <utility>

#include "core/event_info.h"

namespace launcher {

/// First in, first out. Owns its events. Neither operation needs memory, so neither can fail. Not
/// synchronised: the owner's lock guards it.
class EventQueue {
 public:
  EventQueue() = default;
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;
  ~EventQueue() { Clear(); }

  void Push(EventPtr event) {
    EventInfo* const added = event.release();
    *(oldest == nullptr ? &oldest : &newest->next) = added;
    newest = added;
  }

  /// The oldest event, or null.
  EventPtr Pop() {
    EventPtr event(oldest);
    if (oldest != nullptr) oldest = std::exchange(oldest->next, nullptr);
    return event;
  }

  void Clear() {
    while (Pop() != nullptr) {
    }
  }

 private:
  EventInfo* oldest = nullptr;
  EventInfo* newest = nullptr;  // meaningful while there is an oldest one
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_LAUNCHER_EVENT_QUEUE_H_
