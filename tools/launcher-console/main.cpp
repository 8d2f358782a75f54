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

namespace console {
namespace {

constexpr char kFooter[] = R"(
launcher-console COMMAND --help explains a command.

Examples:
  launcher-console list
  launcher-console doctor BRENNA-GAME
  launcher-console launch BRENNA-GAME --args "-server 192.0.2.1" --wait 60
  launcher-console watch
  launcher-console ping 192.0.2.1 192.0.2.2
  launcher-console query 192.0.2.1:25200 1 --json

Exit codes: 0 done, 1 not done (the message says why), 2 wrong command line,
3 launcher.dll could not be loaded, 130 ended by Ctrl+C.
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
  app.add_flag("--json", options.json, "Write JSON, for scripts; 'watch' writes one line an event");
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

void AddCommands(CLI::App& app, Action& action) {
  AddListCommand(app, action);
  AddParameterCommands(app, action);
  AddGameCommands(app, action);
  AddPingCommand(app, action);
  AddQueryCommand(app, action);
  AddWatchCommand(app, action);
  AddDoctorCommand(app, action);
  for (CLI::App* const command : app.get_subcommands({})) {
    command->fallthrough();  // global options may stand behind the command, too
    command->footer("");
  }
}

ExitCode Fail(ExitCode code, const std::string& message, bool json, Output& out, Output& errors) {
  errors.Line("launcher-console: " + message);
  // One line: before it may stand those of 'watch'.
  if (json) out.Record({{"error", message}, {"exitCode", static_cast<int>(code)}});
  return code;
}

ExitCode FailUsage(const std::string& message, bool json, Output& out, Output& errors) {
  Fail(ExitCode::kWrongUsage, message, json, out, errors);
  errors.Line("Try: launcher-console --help");
  return ExitCode::kWrongUsage;
}

ExitCode Execute(const GlobalOptions& options, const Action& action, Output& out, Output& errors) {
  try {
    Session session(options, out);
    return action(session);
  } catch (const CommandError& error) {
    return Fail(error.exitCode, error.what(), options.json, out, errors);
  } catch (const std::exception& error) {
    return Fail(ExitCode::kNotDone, error.what(), options.json, out, errors);
  }
}

void PrintLines(const std::string& text, Output& out) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) out.Line(line);
}

ExitCode Run() {
  InterruptEvent();  // from here on Ctrl+C is waited for
  CLI::App app("launcher-console: finds, starts, watches and commands games by launcher.dll",
               "launcher-console");
  app.allow_windows_style_options(false);  // "/x" is a word, not an option
  app.require_subcommand(0, 1);            // that it is missing is told below, in words of our own
  app.footer(kFooter);
  app.get_formatter()->label("TEXT", "");
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Subcommands", "Commands");
  GlobalOptions options;
  Action action;
  AddGlobalOptions(app, options);
  AddCommands(app, action);

  const std::vector<std::string> arguments = Arguments();
  const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  try {
    // The parser takes them from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    Output out(GetStdHandle(STD_OUTPUT_HANDLE));
    Output errors(GetStdHandle(STD_ERROR_HANDLE));
    std::ostringstream text;
    std::ostringstream unused;
    if (app.exit(error, text, unused) == 0) {  // help was asked for
      PrintLines(text.str(), out);
      return ExitCode::kDone;
    }
    return FailUsage(error.what(), json, out, errors);
  }

  if (!action) {
    Output out(GetStdHandle(STD_OUTPUT_HANDLE));
    Output errors(GetStdHandle(STD_ERROR_HANDLE));
    return FailUsage("a command is missing", json, out, errors);
  }

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
