#include <algorithm>
#include <memory>

#include "hosts/common/text.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/wait_limit.h"

namespace console {
namespace {

struct DoctorArguments {
  std::string appId;
  bool noConnect = false;
  double patienceSeconds = 10;
};

const char* LevelName(Level level) {
  switch (level) {
    case Level::kOk:
      return "ok";
    case Level::kNote:
      return "note";
    case Level::kProblem:
      return "problem";
  }
  return "";
}

void PrintText(Session& session, const Findings& findings, std::ptrdiff_t problems) {
  std::string subject;
  for (const Finding& finding : findings) {
    if (finding.subject != subject) session.Out().Line(finding.subject);
    subject = finding.subject;
    const std::string level = LevelName(finding.level);
    session.Out().Line("  " + level + std::string(9 - level.size(), ' ') + finding.text);
  }
  session.Out().Line();
  session.Out().Line(problems == 0   ? "no problems"
                     : problems == 1 ? "1 problem"
                                     : std::to_string(problems) + " problems");
}

void PrintJson(Session& session, const Findings& findings, std::ptrdiff_t problems) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"subject", finding.subject},
                    {"level", LevelName(finding.level)},
                    {"text", finding.text}});
  }
  session.Out().Document({{"findings", std::move(list)}, {"problems", problems}});
}

ExitCode Doctor(Session& session, const DoctorArguments& arguments) {
  if (!arguments.appId.empty()) Session::CheckApplication(arguments.appId);
  Findings findings;
  findings.push_back({"launcher.dll", Level::kOk,
                      "version " + session.Launcher().Version() + " was loaded from " +
                          host::ToUtf8(session.DllPath())});
  DiagnoseHelper(session, ToMilliseconds(arguments.patienceSeconds), findings);
  for (const auto& application : host::kKnownApplications) {
    const bool isAskedFor = arguments.appId == application.id;
    if (!arguments.appId.empty() && !isAskedFor) continue;
    if (application.pipeName[0] == '\0') {
      DiagnoseStoreClient(session, application, isAskedFor, findings);
    } else {
      DiagnoseGame(session, application, {isAskedFor, !arguments.noConnect}, findings);
    }
  }
  const auto problems = std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.level == Level::kProblem;
  });
  if (session.IsJson()) {
    PrintJson(session, findings, problems);
  } else {
    PrintText(session, findings, problems);
  }
  return problems == 0 ? ExitCode::kDone : ExitCode::kNotDone;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<DoctorArguments>();
  CLI::App* const doctor = app.add_subcommand(
      "doctor", "Find out why a game is not found, does not start or does not answer");
  doctor->add_option("APP", arguments->appId, "Only this application; what it lacks is a problem");
  doctor->add_flag("--no-connect", arguments->noConnect,
                   "Do not connect to a game's pipe. (Connecting tells whose pipe it is; the game "
                   "sees a launcher that comes and leaves.)");
  AddSecondsOption(*doctor, "--patience", arguments->patienceSeconds,
                   "How long the helper program may take (default 10)");
  doctor->callback([&action, arguments] {
    action = [arguments](Session& session) { return Doctor(session, *arguments); };
  });
}

}  // namespace console
