#include <algorithm>
#include <memory>

#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/options.h"

namespace console {
namespace {

struct DoctorArguments {
  std::string appId;
  bool noConnect = false;
  double timeoutSeconds = 10;
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

Colour LevelColour(Level level) {
  switch (level) {
    case Level::kOk:
      return Colour::kGreen;
    case Level::kNote:
      return Colour::kYellow;
    case Level::kProblem:
      return Colour::kRed;
  }
  return Colour::kNone;
}

void PrintText(Session& session, const Findings& findings, std::ptrdiff_t problems) {
  std::string subject;
  for (const Finding& finding : findings) {
    if (finding.subject != subject) session.Out().Line(finding.subject);
    subject = finding.subject;
    constexpr std::size_t kLevelWidth = 9;
    session.Out().Marked(LevelColour(finding.level), LevelName(finding.level), kLevelWidth,
                         finding.text);
    if (!finding.advice.empty()) {
      session.Out().Line("           " + finding.advice);
    }
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
                    {"text", finding.text},
                    {"advice", finding.advice}});
  }
  session.Result({{"findings", std::move(list)}, {"problems", problems}});
}

ExitCode Doctor(Session& session, const DoctorArguments& arguments) {
  Findings findings;
  host::LauncherClient* const launcher = DiagnoseDll(session, findings);
  DiagnoseHelper(session, launcher, ToMilliseconds(arguments.timeoutSeconds), findings);
  for (const auto& application : host::kKnownApplications) {
    const bool isAskedFor = arguments.appId == application.id;
    if (!arguments.appId.empty() && !isAskedFor) continue;
    if (application.pipeName[0] == '\0') {
      DiagnoseStoreClient(launcher, application, isAskedFor, findings);
    } else {
      DiagnoseGame(session, launcher, application, {isAskedFor, !arguments.noConnect}, findings);
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
  if (launcher == nullptr) return ExitCode::kEnvironment;
  return problems == 0 ? ExitCode::kDone : ExitCode::kNotDone;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<DoctorArguments>();
  CLI::App* const doctor = app.add_subcommand(
      "doctor", "Find out why a game is not found, does not start or does not answer");
  doctor->group(kHelpGroup);
  AddApplication(*doctor, arguments->appId, "Only this application; what it lacks is a problem");
  doctor->add_flag("--no-connect", arguments->noConnect,
                   "Do not connect to a game's pipe. (Connecting shows whose pipe it is; the game "
                   "sees a launcher that comes and leaves.)");
  AddSecondsOption(*doctor, "--timeout", arguments->timeoutSeconds,
                   "How long the helper program may take (default 10)");
  doctor->footer(
      "Examples:\n"
      "  launcher-console doctor\n"
      "  launcher-console doctor brenna");
  doctor->callback([&action, arguments] {
    action = [arguments](Session& session) { return Doctor(session, *arguments); };
  });
}

}  // namespace console
