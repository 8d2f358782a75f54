#include <algorithm>
#include <memory>

#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/events.h"
#include "tools/launcher-console/wait_limit.h"

namespace console {
namespace {

struct WatchArguments {
  std::vector<std::string> appIds;
  double forSeconds = 0;
  std::size_t count = 0;
};

ExitCode Watch(Session& session, const WatchArguments& arguments) {
  for (const std::string& appId : arguments.appIds) Session::CheckApplication(appId);
  session.Launcher();
  if (!session.IsJson()) session.Out().Line("watching; Ctrl+C ends it");
  std::size_t shown = 0;
  const bool isWanted = session.Wait(
      arguments.forSeconds > 0 ? ToMilliseconds(arguments.forSeconds) : Session::kNoLimit,
      Session::Polling::kPollApps, [&](const host::Event& event) {
        if (!arguments.appIds.empty() && std::find(arguments.appIds.begin(), arguments.appIds.end(),
                                                   event.source) == arguments.appIds.end()) {
          return false;
        }
        const std::string time = TimeStamp();
        if (session.IsJson()) {
          session.Out().Record(ToJson(event, time));
        } else {
          session.Out().Line(time + "  " + Describe(event));
        }
        return ++shown == arguments.count;
      });
  if (arguments.count > 0 && !isWanted) {
    throw NotDone(std::to_string(shown) + " of " + std::to_string(arguments.count) +
                  " events have come");
  }
  return ExitCode::kDone;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<WatchArguments>();
  CLI::App* const watch = app.add_subcommand(
      "watch", "Connect to running games and show events as they come, with times");
  watch->add_option("APP", arguments->appIds, "Only these applications");
  AddSecondsOption(*watch, "--for", arguments->forSeconds, "End after so long");
  watch->add_option("--count", arguments->count, "End after so many events")
      ->check(CLI::PositiveNumber);
  watch->callback([&action, arguments] {
    action = [arguments](Session& session) { return Watch(session, *arguments); };
  });
}

}  // namespace console
