#include <array>
#include <memory>
#include <string_view>

#include "hosts/common/checks.h"
#include "hosts/common/known_applications.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/events.h"
#include "tools/launcher-console/options.h"

namespace console {
namespace {

struct LaunchArguments {
  std::string appId;
  std::string commandLine;
  bool flag = false;
  bool isWaiting = false;
  double timeoutSeconds = 60;
};

struct SendArguments {
  std::string appId;
  std::string command;
  std::vector<std::string> words;
  double timeoutSeconds = 5;
  double listenSeconds = 0;
};

constexpr std::size_t kMaxWords = 4;

bool SharesPipe(std::string_view appId, std::string_view otherId) {
  const host::KnownApplication* const one = host::FindKnownApplication(appId);
  const host::KnownApplication* const other = host::FindKnownApplication(otherId);
  return one != nullptr && other != nullptr && appId != otherId &&
         std::string_view(one->pipeName) == other->pipeName;
}

// Waits until the game's pipe is connected.
void WaitUntilReady(Session& session, const std::string& appId, double seconds,
                    std::vector<Json>& events) {
  std::string occupant;
  const bool ready = session.Wait(
      ToMilliseconds(seconds), Session::Polling::kPollApps, [&](const host::Event& event) {
        events.push_back(ToJson(event, TimeStamp()));
        if (SharesPipe(appId, event.source) && event.arguments[0] == "READY") {
          occupant = event.source;
        }
        return IsState(event, appId, "READY");
      });
  if (ready) return;
  if (!occupant.empty()) {
    throw NotDone("the only place at the pipe went to " + occupant + ", which shares it with " +
                  appId + "; try " + occupant);
  }
  throw NotDone("the pipe of " + appId + " could not be connected: is the game running?");
}

// Refused here: the launcher would only return false.
void RefuseStoreClient(const std::string& appId, const std::string& reason) {
  if (IsStoreClient(FindApplication(appId))) {
    throw WrongUsage(appId + " is the store client, which " + reason);
  }
}

ExitCode Launch(Session& session, const LaunchArguments& arguments) {
  if (arguments.isWaiting) RefuseStoreClient(arguments.appId, "has no pipe to wait for");
  if (!host::FitsHelperLine(arguments.commandLine)) {
    throw WrongUsage("the command line must not contain '|' or control characters");
  }
  host::LauncherClient& launcher = session.Launcher();
  if (!launcher.IsInstalled(arguments.appId)) {
    throw NotDone(arguments.appId + " is not installed; 'doctor " + arguments.appId + "' says why");
  }
  if (!launcher.Launch(arguments.appId, arguments.commandLine, arguments.flag)) {
    throw CommandError(ExitCode::kEnvironment,
                       "the helper program could not be started; see 'doctor'");
  }
  std::vector<Json> events;
  if (arguments.isWaiting) {
    WaitUntilReady(session, arguments.appId, arguments.timeoutSeconds, events);
  }
  const std::string state = arguments.isWaiting ? "READY" : "PENDING";
  if (session.IsJson()) {
    session.Result({{"id", arguments.appId}, {"state", state}});
  } else if (state == "READY") {
    session.Out().Line(arguments.appId + " is running and has opened its pipe");
  } else {
    session.Out().Line("the helper was asked to start " + arguments.appId);
  }
  return ExitCode::kDone;
}

ExitCode Kill(Session& session, const std::string& appId) {
  RefuseStoreClient(appId, "the launcher does not end");
  if (!session.Launcher().Kill(appId)) throw NotDone("no process of " + appId + " was found");
  if (session.IsJson()) {
    session.Result({{"id", appId}, {"killed", true}});
  } else {
    session.Out().Line("ended one process of " + appId);
  }
  return ExitCode::kDone;
}

// The launcher takes the words up to the first empty one.
std::array<std::string, kMaxWords> ToArguments(const std::vector<std::string>& words) {
  std::array<std::string, kMaxWords> arguments;
  bool ended = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (ended) throw WrongUsage("the words after an empty one would not be sent");
    ended = words[i].empty();
    arguments[i] = words[i];
  }
  return arguments;
}

ExitCode Send(Session& session, const SendArguments& arguments) {
  RefuseStoreClient(arguments.appId, "has no pipe for commands");
  const std::array<std::string, kMaxWords> words = ToArguments(arguments.words);
  std::vector<Json> events;
  WaitUntilReady(session, arguments.appId, arguments.timeoutSeconds, events);
  if (!session.Launcher().SendCommand(arguments.appId, arguments.command, words)) {
    throw NotDone(arguments.appId + " is not connected");
  }
  const bool json = session.IsJson();
  if (!json) session.Out().Line("sent " + arguments.command + " to " + arguments.appId);
  const bool isGone = session.Wait(ToMilliseconds(arguments.listenSeconds),
                                   Session::Polling::kPollApps, [&](const host::Event& event) {
                                     events.push_back(ToJson(event, TimeStamp()));
                                     if (!json) session.Out().Line(Describe(event));
                                     return IsState(event, arguments.appId, "GAMEISGONE");
                                   });
  if (json) {
    session.Result(
        {{"id", arguments.appId}, {"sent", true}, {"gone", isGone}, {"events", std::move(events)}});
  }
  return ExitCode::kDone;
}

}  // namespace

void AddGameCommands(CLI::App& app, Action& action) {
  const auto launch = std::make_shared<LaunchArguments>();
  CLI::App* const launchCommand =
      app.add_subcommand("launch", "Ask the helper program to start an application");
  launchCommand->group(kGamesGroup);
  AddApplication(*launchCommand, launch->appId, "Identifier, as in brenna")->required();
  launchCommand
      ->add_option("--args", launch->commandLine,
                   "The application's command line, in quotation marks; for OSTREL-APP the rest of "
                   "an ostrel:// link")
      ->type_name("TEXT");
  launchCommand->add_flag("--flag", launch->flag, "Hand YES instead of NO to the helper");
  launchCommand->add_flag("--wait", launch->isWaiting,
                          "Wait until the game has opened its pipe; fail if it has not");
  AddSecondsOption(*launchCommand, "--timeout", launch->timeoutSeconds,
                   "How long --wait waits (default 60)");
  launchCommand->footer(
      "Examples:\n"
      "  launcher-console launch brenna\n"
      "  launcher-console launch brenna --args \"-server 192.0.2.1\" --wait\n"
      "  launcher-console launch ostrel --args store/brenna");
  launchCommand->callback([&action, launch] {
    action = [launch](Session& session) { return Launch(session, *launch); };
  });

  const auto killId = std::make_shared<std::string>();
  CLI::App* const kill = app.add_subcommand("kill", "End one running process of a game, at once");
  kill->group(kGamesGroup);
  AddApplication(*kill, *killId, "Identifier, as in brenna")->required();
  kill->footer("Examples:\n  launcher-console kill brenna");
  kill->callback([&action, killId] {
    action = [killId](Session& session) { return Kill(session, *killId); };
  });

  const auto send = std::make_shared<SendArguments>();
  CLI::App* const sendCommand =
      app.add_subcommand("send", "Send a command to a running game over its pipe");
  sendCommand->group(kGamesGroup);
  AddApplication(*sendCommand, send->appId, "Identifier, as in brenna")->required();
  sendCommand->add_option("COMMAND", send->command, "Name of the command")->required();
  // One by one: where the parser expects a list it takes "[a,b]" for one, too.
  for (std::size_t number = 1; number <= kMaxWords; ++number) {
    sendCommand->add_option_function<std::string>(
        "WORD" + std::to_string(number),
        [send](const std::string& word) { send->words.push_back(word); },
        number > 1 ? "" : "Up to four words; put -- before the first that begins with a dash");
  }
  AddSecondsOption(*sendCommand, "--timeout", send->timeoutSeconds,
                   "How long to wait for the game's pipe (default 5)");
  AddSecondsOption(*sendCommand, "--for", send->listenSeconds,
                   "Show what the game sends for so long afterwards, or until it is gone");
  sendCommand->footer(
      "Examples:\n"
      "  launcher-console send brenna connect 192.0.2.1 --for 10\n"
      "  launcher-console send brenna move -- -1 0");
  sendCommand->callback(
      [&action, send] { action = [send](Session& session) { return Send(session, *send); }; });
}

}  // namespace console
