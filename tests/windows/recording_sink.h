// A place to leave events that keeps them for a test.
#ifndef LAUNCHER_TESTS_WINDOWS_RECORDING_SINK_H_
#define LAUNCHER_TESTS_WINDOWS_RECORDING_SINK_H_

#include <string>
#include <utility>
#include <vector>

#include "core/event_sink.h"
#include "tests/support/text.h"

namespace launcher {

/// Each event as a line: "SOME-GAME READY" for a change of state, "SOME-GAME queued Joined Aldo" for
/// a finished event with its name and first argument.
class RecordingSink final : public EventSink {
 public:
  void PostStateChange(const wchar_t* appId, const wchar_t* state) override {
    lines.push_back(test_support::Narrow(appId) + " " + test_support::Narrow(state));
  }
  void QueueEvent(EventPtr event) override {
    lines.push_back(test_support::Narrow(event->GetSource()) + " queued " +
                    test_support::Narrow(event->GetName()) + " " +
                    test_support::Narrow(event->GetArg0()));
  }

  std::vector<std::string> Take() { return std::exchange(lines, {}); }

 private:
  std::vector<std::string> lines;
};

}  // namespace launcher

#endif  // LAUNCHER_TESTS_WINDOWS_RECORDING_SINK_H_
