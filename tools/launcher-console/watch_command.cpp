#include <algorithm>
#include <memory>
#include <optional>

#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/events.h"
#include "tools/launcher-console/options.h"

namespace console {
namespace {

struct WatchArguments {
  std::vector<std::string> appIds;
  std::optional<double> forSeconds;  // without a limit when not given
  std::size_t count = 0;
};

ExitCode Watch(Session& session, const WatchArguments& arguments) {
  session.Launcher();
  if (!session.IsJson()) session.Out().Line("watching; Ctrl+C ends it");
  std::size_t shown = 0;
  const bool isWanted = session.Wait(
      arguments.forSeconds ? ToMilliseconds(*arguments.forSeconds) : Session::kNoLimit,
      Session::Polling::kPollApps, [&](const host::Event& event) {
        if (!arguments.appIds.empty() && std::find(arguments.appIds.begin(), arguments.appIds.end(),
                                                   event.source) == arguments.appIds.end()) {
          return false;
        }
        const std::string time = TimeStamp();
        if (session.IsJson()) {
          session.ResultLine(ToJson(event, time));
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
  watch->group(kGamesGroup);
  watch->add_option_function<std::vector<std::string>>(
      "APP",
      [arguments](const std::vector<std::string>& words) {
        for (const std::string& word : words) {
          arguments->appIds.emplace_back(FindApplication(word).id);
        }
      },
      "Only these applications");
  const auto seconds = std::make_shared<double>(0);
  CLI::Option* const duration =
      AddSecondsOption(*watch, "--for", *seconds, "End after so long (default: Ctrl+C ends it)");
  watch->add_option("--count", arguments->count, "End after so many events")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("N");
  watch->footer(
      "Examples:\n"
      "  launcher-console watch\n"
      "  launcher-console watch brenna --count 1 --for 60");
  watch->callback([&action, arguments, seconds, duration] {
    if (duration->count() > 0) arguments->forSeconds = *seconds;
    action = [arguments](Session& session) { return Watch(session, *arguments); };
  });
}

}  // namespace console
