// launcher-console: launcher.dll for people and scripts.

// The order matters.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "hosts/common/standard_streams.h"
#include "hosts/common/text.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/interrupt.h"
#include "tools/launcher-console/suggestion.h"
#include "tools/launcher-console/terminal_text.h"

namespace console {
namespace {

constexpr char kFooter[] = R"(
APP is an identifier as 'list' shows it, or its beginning: brenna means BRENNA-GAME.
launcher-console help COMMAND explains a command.

Examples:
  launcher-console list
  launcher-console doctor brenna
  launcher-console launch brenna --args "-server 192.0.2.1" --wait
  launcher-console watch
  launcher-console ping 192.0.2.1 192.0.2.2
  launcher-console query 192.0.2.1:25200 1 --json

Exit codes:
  0    done; every server has answered
  1    not done, or not every server has answered; the message says why
  2    wrong command line
  3    launcher.dll or the helper program is missing or of no use; see doctor
  130  ended by Ctrl+C
)";

std::vector<std::string> Arguments() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(host::ToUtf8(words[i]));
  LocalFree(words);
  return arguments;
}

void AddGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.set_version_flag("--version", "launcher-console " LAUNCHER_CONSOLE_VERSION,
                       "Show the version and end");
  app.add_flag("--json", options.json,
               "Write JSON, for scripts: {\"command\": ..., \"result\": ...} or {\"command\": "
               "..., \"error\": ...}");
  app.add_option("--dll", options.dllPath, "launcher.dll (default: beside this program)")
      ->type_name("PATH");
  app.add_option("--settings", options.settingsPath,
                 "File of the parameters that 'set' remembers (default: "
                 "%LOCALAPPDATA%\\launcher-console\\settings.json)")
      ->type_name("PATH");
  app.add_option("--log", options.logPath,
                 "Append the launcher's own diagnostic lines to a file (default: drop them)")
      ->type_name("PATH");
}

// For the list of commands only: `help COMMAND` is parsed as `COMMAND --help`.
void AddHelpCommand(CLI::App& app) {
  CLI::App* const help = app.add_subcommand("help", "Explain a command");
  help->group(kHelpGroup);
  help->footer("Examples:\n  launcher-console help ping");
}

void AddCommands(CLI::App& app, Action& action) {
  AddListCommand(app, action);
  AddGameCommands(app, action);
  AddWatchCommand(app, action);
  AddParameterCommands(app, action);
  AddPingCommand(app, action);
  AddQueryCommand(app, action);
  AddDoctorCommand(app, action);
  AddCompletionCommand(app, action);
  AddHelpCommand(app);
  for (CLI::App* const command : app.get_subcommands({})) {
    command->fallthrough();  // global options are taken after the command, too
  }
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : app.get_subcommands({}))
    names.push_back(command->get_name());
  return names;
}

void AddOptionNames(const CLI::App& app, std::vector<std::string>& names) {
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
}

// The message for a word that the parser did not expect.
std::string ExplainUnexpected(const CLI::App& app, const CLI::ExtrasError& error) {
  const std::vector<std::string> unexpected = app.remaining(true);
  if (unexpected.empty()) return error.what();
  const std::string& word = unexpected.front();
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  if (word.starts_with("--")) {
    std::vector<std::string> names;
    AddOptionNames(app, names);
    for (const CLI::App* const command : chosen) AddOptionNames(*command, names);
    return "unknown option '" + word + "'" + DidYouMean(word, names);
  }
  if (chosen.empty()) {
    return "unknown command '" + word + "'" + DidYouMean(word, CommandNames(app));
  }
  return "unexpected argument '" + word + "'";
}

// Where a failure is reported.
struct Report {
  const GlobalOptions& options;
  Output& out;
  Output& errors;

  ExitCode Fail(ExitCode code, const std::string& message) const {
    errors.Line("launcher-console: " + message);
    if (options.json) {  // on one line, as those that 'watch' may have written before
      out.Record({{"command", options.command},
                  {"error", {{"message", message}, {"exitCode", static_cast<int>(code)}}}});
    }
    return code;
  }

  ExitCode FailUsage(const std::string& message) const {
    Fail(ExitCode::kWrongUsage, message);
    if (!options.json) {
      errors.Line("Try: launcher-console " +
                  (options.command.empty() ? "" : options.command + " ") + "--help");
    }
    return ExitCode::kWrongUsage;
  }
};

ExitCode Execute(const GlobalOptions& options, const Action& action, Output& out, Output& errors) {
  const Report report{options, out, errors};
  try {
    Session session(options, out, errors);
    return action(session);
  } catch (const WrongUsage& error) {
    return report.FailUsage(error.what());
  } catch (const CommandError& error) {
    return report.Fail(error.exitCode, error.what());
  } catch (const std::exception& error) {
    return report.Fail(ExitCode::kNotDone, error.what());
  }
}

void PrintHelp(const std::string& text, Output& out) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    for (const std::string& part : Wrapped(line, out.Width())) out.Line(part);
  }
}

void PrepareHelp(CLI::App& app) {
  constexpr std::size_t kDescriptionColumn = 24;
  app.footer(kFooter);
  const auto formatter = app.get_formatter();
  formatter->column_width(kDescriptionColumn);
  formatter->label("TEXT", "");
  formatter->label("SUBCOMMAND", "COMMAND");
  formatter->label("Subcommands", "Commands");
}

// "help COMMAND" as "COMMAND --help".
std::vector<std::string> WithoutHelpCommand(std::vector<std::string> arguments) {
  for (auto word = arguments.begin(); word != arguments.end(); ++word) {
    const bool hasValue = *word == "--dll" || *word == "--settings" || *word == "--log";
    if (hasValue && word + 1 != arguments.end()) ++word;
    if (hasValue || word->starts_with('-')) continue;
    if (*word == "help") {
      arguments.erase(word);
      arguments.emplace_back("--help");
    }
    break;
  }
  return arguments;
}

ExitCode Run() {
  InterruptEvent();  // from here on Ctrl+C is waited for
  CLI::App app("launcher-console: finds, starts, watches and commands games by launcher.dll",
               "launcher-console");
  app.allow_windows_style_options(false);  // "/x" is a word, not an option
  app.require_subcommand(0, 1);            // one that is missing is reported below
  PrepareHelp(app);
  GlobalOptions options;
  Action action;
  AddGlobalOptions(app, options);
  AddCommands(app, action);

  const std::vector<std::string> arguments = WithoutHelpCommand(Arguments());
  options.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  Output plainOut(GetStdHandle(STD_OUTPUT_HANDLE));
  Output plainErrors(GetStdHandle(STD_ERROR_HANDLE));
  const Report report{options, plainOut, plainErrors};
  const auto rememberCommand = [&app, &options] {
    for (const CLI::App* const command : app.get_subcommands())
      options.command = command->get_name();
  };
  try {
    // The parser takes them from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    rememberCommand();
  } catch (const CLI::ExtrasError& error) {
    rememberCommand();
    return report.FailUsage(ExplainUnexpected(app, error));
  } catch (const CLI::ParseError& error) {
    rememberCommand();
    std::ostringstream text;
    std::ostringstream unused;
    if (app.exit(error, text, unused) == 0) {  // help or the version was asked for
      PrintHelp(text.str(), plainOut);
      return ExitCode::kDone;
    }
    return report.FailUsage(error.what());
  }
  if (!action) return report.FailUsage("a command is missing");

  // Where it lives until the end of the process: workers of the launcher may still write.
  static const host::StandardStreams streams(host::ToWide(options.logPath));
  Output out(streams.output);
  Output errors(streams.error);
  return Execute(options, action, out, errors);
}

}  // namespace
}  // namespace console

int main() {
  try {
    return static_cast<int>(console::Run());
  } catch (const std::exception& error) {
    std::cerr << "launcher-console: " << error.what() << "\n";
    return static_cast<int>(console::ExitCode::kNotDone);
  }
}
