#include <array>
#include <memory>

#include "tools/launcher-console/commands.h"

namespace console {
namespace {

// What the launcher writes and what it reads.
constexpr std::array kGameParameters{
    "APP_VERSION", "PUNKBUSTER_INSTALLED", "EXPANSIONS_INSTALLED", "probeMethod",    "registryKey",
    "binaryName",  "workingDirectory",     "binaryPath",           "EXTRA_ARGUMENTS"};
constexpr std::array kStoreParameters{"APP_VERSION", "OstrelLocalHostEnabled"};

struct ParameterArguments {
  std::string appId;
  std::string key;
  std::string value;
};

template <typename Keys>
void ReadAll(host::LauncherClient& launcher, const std::string& appId, const Keys& keys,
             Json& values) {
  for (const char* const key : keys) values[key] = launcher.GetParameter(appId, key);
}

ExitCode Get(Session& session, const ParameterArguments& arguments) {
  const host::KnownApplication& application = Session::CheckApplication(arguments.appId);
  host::LauncherClient& launcher = session.Launcher();
  launcher.IsInstalled(arguments.appId);  // looking it up writes parameters
  Json values = Json::object();
  if (!arguments.key.empty()) {
    values[arguments.key] = launcher.GetParameter(arguments.appId, arguments.key);
  } else if (application.pipeName[0] == '\0') {
    ReadAll(launcher, arguments.appId, kStoreParameters, values);
  } else {
    ReadAll(launcher, arguments.appId, kGameParameters, values);
  }

  if (session.IsJson()) {
    session.Out().Document({{"id", arguments.appId}, {"parameters", std::move(values)}});
  } else if (!arguments.key.empty()) {
    session.Out().Line(values[arguments.key]);
  } else {
    std::vector<Row> rows{{"PARAMETER", "VALUE"}};
    for (const auto& [key, value] : values.items()) rows.push_back({key, value});
    session.Out().Table(rows, {Align::kLeft, Align::kLeft});
  }
  return ExitCode::kDone;
}

void Report(Session& session, const ParameterArguments& arguments, const std::string& line) {
  if (session.IsJson()) {
    session.Out().Document({{"id", arguments.appId},
                            {"parameters", session.SettingsFile().Parameters().value(
                                               arguments.appId, Json::object())}});
  } else {
    session.Out().Line(line);
  }
}

// "KEY=VALUE"
void Split(const std::string& assignment, ParameterArguments& arguments) {
  const std::size_t equals = assignment.find('=');
  if (equals == 0 || equals == std::string::npos) {
    throw CLI::ValidationError("'" + assignment + "' is no KEY=VALUE");
  }
  arguments.key = assignment.substr(0, equals);
  arguments.value = assignment.substr(equals + 1);
}

ExitCode Set(Session& session, const ParameterArguments& arguments) {
  Session::CheckApplication(arguments.appId);
  session.SettingsFile().Set(arguments.appId, arguments.key, arguments.value);
  session.SettingsFile().Save();
  Report(session, arguments, arguments.appId + "  " + arguments.key + " = " + arguments.value);
  return ExitCode::kDone;
}

ExitCode Unset(Session& session, const ParameterArguments& arguments) {
  Session::CheckApplication(arguments.appId);
  if (!session.SettingsFile().Remove(arguments.appId, arguments.key)) {
    throw NotDone(arguments.key + " of " + arguments.appId + " was not set");
  }
  session.SettingsFile().Save();
  Report(session, arguments, arguments.appId + "  " + arguments.key + " is no longer set");
  return ExitCode::kDone;
}

}  // namespace

void AddParameterCommands(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<ParameterArguments>();

  CLI::App* const get = app.add_subcommand("get", "Show a parameter of an application, or all");
  get->add_option("APP", arguments->appId, "Identifier, as in BRENNA-GAME")->required();
  get->add_option("KEY", arguments->key, "Parameter; all that the launcher knows when left out");
  get->callback([&action, arguments] {
    action = [arguments](Session& session) { return Get(session, *arguments); };
  });

  CLI::App* const set = app.add_subcommand(
      "set", "Set a parameter and remember it for later commands (see --settings)");
  set->add_option("APP", arguments->appId, "Identifier, as in BRENNA-GAME")->required();
  // One word for both: a value that begins with a dash would pass for an option.
  const auto assignment = std::make_shared<std::string>();
  set->add_option("KEY=VALUE", *assignment, "As in probeMethod=path; the value may be empty")
      ->required();
  set->callback([&action, arguments, assignment] {
    Split(*assignment, *arguments);
    action = [arguments](Session& session) { return Set(session, *arguments); };
  });

  CLI::App* const unset = app.add_subcommand("unset", "Forget a parameter that was set");
  unset->add_option("APP", arguments->appId, "Identifier, as in BRENNA-GAME")->required();
  unset->add_option("KEY", arguments->key, "Parameter, as in probeMethod")->required();
  unset->callback([&action, arguments] {
    action = [arguments](Session& session) { return Unset(session, *arguments); };
  });
}

}  // namespace console
