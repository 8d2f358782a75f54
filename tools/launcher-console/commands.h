// The commands. Each function adds one or a few to the parser; when the command line names one, it
// leaves in `action` what is to be done.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_COMMANDS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <functional>

#include "tools/launcher-console/errors.h"
#include "tools/launcher-console/session.h"

namespace console {

using Action = std::function<ExitCode(Session&)>;

// Under which the help lists the commands.
inline constexpr char kGamesGroup[] = "Games on this computer";
inline constexpr char kServersGroup[] = "Game servers";
inline constexpr char kHelpGroup[] = "Problems and help";

void AddListCommand(CLI::App& app, Action& action);
void AddParameterCommands(CLI::App& app, Action& action);  // get, set, unset
void AddGameCommands(CLI::App& app, Action& action);       // launch, kill, send
void AddPingCommand(CLI::App& app, Action& action);
void AddQueryCommand(CLI::App& app, Action& action);
void AddWatchCommand(CLI::App& app, Action& action);
void AddDoctorCommand(CLI::App& app, Action& action);
void AddCompletionCommand(CLI::App& app, Action& action);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_COMMANDS_H_
