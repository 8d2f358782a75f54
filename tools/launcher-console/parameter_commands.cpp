#include <algorithm>
#include <array>
#include <memory>

#include "hosts/common/text.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/options.h"
#include "tools/launcher-console/suggestion.h"

namespace console {
namespace {

struct KnownParameter {
  const char* name;
  bool isWritten;  // by the launcher itself, so that setting it is of no use
  bool isStoreClients;
  bool isGames;
};

constexpr std::array<KnownParameter, 10> kKnownParameters{{
    {"APP_VERSION", true, true, true},
    {"PUNKBUSTER_INSTALLED", true, false, true},
    {"EXPANSIONS_INSTALLED", true, false, true},
    {"probeMethod", false, false, true},
    {"registryKey", false, false, true},
    {"binaryName", false, false, true},
    {"workingDirectory", false, false, true},
    {"binaryPath", false, false, true},
    {"EXTRA_ARGUMENTS", false, false, true},
    {"OstrelLocalHostEnabled", true, true, false},
}};

struct ParameterArguments {
  std::string appId;
  std::string key;
  std::string value;
  bool isListing = false;
};

bool Knows(const host::KnownApplication& application, const KnownParameter& parameter) {
  return IsStoreClient(application) ? parameter.isStoreClients : parameter.isGames;
}

// Nothing for one that the launcher reads, else what is wrong with it.
std::string WarningAbout(const host::KnownApplication& application, const std::string& key) {
  std::vector<std::string> readable;
  for (const KnownParameter& parameter : kKnownParameters) {
    if (!Knows(application, parameter)) continue;
    if (key == parameter.name) {
      return parameter.isWritten ? "the launcher writes " + key + " itself; the value has no effect"
                                 : "";
    }
    if (!parameter.isWritten) readable.emplace_back(parameter.name);
  }
  return "the launcher reads no parameter '" + key + "' of " + application.id +
         DidYouMean(key, readable);
}

// What the launcher knows, and what is remembered besides.
std::vector<std::string> KeysOf(Session& session, const host::KnownApplication& application) {
  std::vector<std::string> keys;
  for (const KnownParameter& parameter : kKnownParameters) {
    if (Knows(application, parameter)) keys.emplace_back(parameter.name);
  }
  const Json& parameters = session.SettingsFile().Parameters();
  if (parameters.contains(application.id)) {
    for (const auto& [key, value] : parameters[application.id].items()) {
      if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
    }
  }
  return keys;
}

// Where a value comes from: "set", "launcher", or nothing when there is none.
std::string Origin(Session& session, const std::string& appId, const std::string& key,
                   const std::string& value) {
  const Json& parameters = session.SettingsFile().Parameters();
  if (parameters.contains(appId) && parameters[appId].contains(key) &&
      parameters[appId][key] == value) {
    return "set";
  }
  return value.empty() ? "" : "launcher";
}

ExitCode Get(Session& session, const ParameterArguments& arguments) {
  const host::KnownApplication& application = FindApplication(arguments.appId);
  host::LauncherClient& launcher = session.Launcher();
  launcher.IsInstalled(arguments.appId);  // looking it up writes parameters
  const bool isOne = !arguments.key.empty();
  Json values = Json::object();
  Json origins = Json::object();
  std::vector<Row> rows{{"PARAMETER", "VALUE", "FROM"}};
  for (const std::string& key :
       isOne ? std::vector<std::string>{arguments.key} : KeysOf(session, application)) {
    const std::string value = launcher.GetParameter(arguments.appId, key);
    const std::string origin = Origin(session, arguments.appId, key, value);
    values[key] = value;
    origins[key] = origin;
    rows.push_back({key, value, origin});
  }

  if (session.IsJson()) {
    session.Result({{"id", arguments.appId},
                    {"parameters", std::move(values)},
                    {"from", std::move(origins)},
                    {"settings", host::ToUtf8(session.SettingsFile().Path())}});
  } else if (isOne) {
    session.Out().Line(values[arguments.key]);
  } else {
    session.Out().Table(rows, {Align::kLeft, Align::kLeft, Align::kLeft});
    session.Out().Line();
    session.Out().Line("set: remembered in " + host::ToUtf8(session.SettingsFile().Path()));
  }
  return ExitCode::kDone;
}

ExitCode ListSettings(Session& session) {
  const Settings& settings = session.SettingsFile();
  if (session.IsJson()) {
    session.Result(
        {{"settings", host::ToUtf8(settings.Path())}, {"parameters", settings.Parameters()}});
    return ExitCode::kDone;
  }
  session.Out().Line("remembered in " + host::ToUtf8(settings.Path()));
  std::vector<Row> rows{{"APPLICATION", "PARAMETER", "VALUE"}};
  for (const auto& [appId, values] : settings.Parameters().items()) {
    for (const auto& [key, value] : values.items()) rows.push_back({appId, key, value});
  }
  if (rows.size() == 1) {
    session.Out().Line("nothing");
  } else {
    session.Out().Table(rows, {Align::kLeft, Align::kLeft, Align::kLeft});
  }
  return ExitCode::kDone;
}

void Report(Session& session, const ParameterArguments& arguments, const std::string& line,
            const std::string& warning) {
  if (!warning.empty()) session.Warn("warning: " + warning);
  if (session.IsJson()) {
    Json result = {
        {"id", arguments.appId},
        {"parameters", session.SettingsFile().Parameters().value(arguments.appId, Json::object())}};
    if (!warning.empty()) result["warning"] = warning;
    session.Result(std::move(result));
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
  if (arguments.isListing) return ListSettings(session);
  const host::KnownApplication& application = FindApplication(arguments.appId);
  session.SettingsFile().Set(arguments.appId, arguments.key, arguments.value);
  session.SettingsFile().Save();
  Report(session, arguments, arguments.appId + "  " + arguments.key + " = " + arguments.value,
         WarningAbout(application, arguments.key));
  return ExitCode::kDone;
}

ExitCode Unset(Session& session, const ParameterArguments& arguments) {
  Settings& settings = session.SettingsFile();
  if (!settings.Remove(arguments.appId, arguments.key)) {
    std::vector<std::string> keys;
    if (settings.Parameters().contains(arguments.appId)) {
      for (const auto& [key, value] : settings.Parameters()[arguments.appId].items()) {
        keys.push_back(key);
      }
    }
    throw NotDone(arguments.key + " of " + arguments.appId + " was not set" +
                  DidYouMean(arguments.key, keys));
  }
  settings.Save();
  Report(session, arguments, arguments.appId + "  " + arguments.key + " is no longer set", "");
  return ExitCode::kDone;
}

}  // namespace

void AddParameterCommands(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<ParameterArguments>();

  CLI::App* const get = app.add_subcommand("get", "Show a parameter of an application, or all");
  get->group(kGamesGroup);
  AddApplication(*get, arguments->appId, "Identifier, as in brenna")->required();
  get->add_option("KEY", arguments->key,
                  "Parameter; all that the launcher knows or 'set' remembers when left out");
  get->footer(
      "Examples:\n"
      "  launcher-console get brenna\n"
      "  launcher-console get brenna APP_VERSION");
  get->callback([&action, arguments] {
    action = [arguments](Session& session) { return Get(session, *arguments); };
  });

  CLI::App* const set = app.add_subcommand(
      "set", "Set a parameter and remember it for later commands (see --settings)");
  set->group(kGamesGroup);
  CLI::Option* const list = set->add_flag("--list", arguments->isListing,
                                          "Show everything that is remembered, and where");
  CLI::Option* const appId = AddApplication(*set, arguments->appId, "Identifier, as in brenna");
  // One word for both: a separate value that begins with a dash would be taken for an option.
  const auto assignment = std::make_shared<std::string>();
  CLI::Option* const pair =
      set->add_option("KEY=VALUE", *assignment, "As in probeMethod=path; the value may be empty");
  set->footer(
      "Examples:\n"
      "  launcher-console set brenna probeMethod=path\n"
      "  launcher-console set brenna \"binaryPath=D:\\Games\\ag4.exe\"\n"
      "  launcher-console set --list");
  set->callback([&action, arguments, assignment, list, appId, pair] {
    if (list->count() == 0) {
      if (appId->count() == 0) throw CLI::RequiredError("APP");
      if (pair->count() == 0) throw CLI::RequiredError("KEY=VALUE");
      Split(*assignment, *arguments);
    }
    action = [arguments](Session& session) { return Set(session, *arguments); };
  });

  CLI::App* const unset = app.add_subcommand("unset", "Forget a parameter that was set");
  unset->group(kGamesGroup);
  AddApplication(*unset, arguments->appId, "Identifier, as in brenna")->required();
  unset->add_option("KEY", arguments->key, "Parameter, as in probeMethod")->required();
  unset->footer("Examples:\n  launcher-console unset brenna probeMethod");
  unset->callback([&action, arguments] {
    action = [arguments](Session& session) { return Unset(session, *arguments); };
  });
}

}  // namespace console
