#include "hosts/common/known_applications.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/version_text.h"

namespace console {
namespace {

struct ListedApplication {
  std::string id;
  bool installed = false;
  bool running = false;
  std::string version;
  std::string expansions;
};

ListedApplication LookUp(host::LauncherClient& launcher, const std::string& id) {
  ListedApplication application{id, launcher.IsInstalled(id), false, "", ""};
  if (!application.installed) return application;
  application.running = launcher.IsRunning(id);
  application.version = launcher.GetVersion(id);
  application.expansions = launcher.GetParameter(id, "EXPANSIONS_INSTALLED");
  return application;
}

ExitCode List(Session& session) {
  Json documents = Json::array();
  std::vector<Row> rows{{"APPLICATION", "INSTALLED", "RUNNING", "VERSION", "EXPANSIONS"}};
  for (const auto& known : host::kKnownApplications) {
    const ListedApplication application = LookUp(session.Launcher(), known.id);
    documents.push_back({{"id", application.id},
                         {"installed", application.installed},
                         {"running", application.running},
                         {"version", application.version},
                         {"expansions", application.expansions}});
    rows.push_back({application.id, application.installed ? "yes" : "no",
                    application.running ? "yes" : "no", ShortVersion(application.version),
                    application.expansions});
  }
  if (session.IsJson()) {
    session.Result({{"applications", std::move(documents)}});
  } else {
    session.Out().Table(rows, std::vector<Align>(rows.front().size(), Align::kLeft));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddListCommand(CLI::App& app, Action& action) {
  CLI::App* const list = app.add_subcommand(
      "list", "Show the eight applications: installed, running, version, expansions");
  list->group(kGamesGroup);
  list->footer(
      "Examples:\n"
      "  launcher-console list\n"
      "  launcher-console list --json");
  list->callback([&action] { action = List; });
}

}  // namespace console
