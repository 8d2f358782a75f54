// How a command ends.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_ERRORS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_ERRORS_H_

#include <stdexcept>

namespace console {

enum class ExitCode : int {
  kDone = 0,
  kNotDone = 1,       // the launcher, the game or the server did not do it, or not all of it
  kWrongUsage = 2,    // the command line makes no sense
  kEnvironment = 3,   // launcher.dll or the helper program is missing or of no use
  kInterrupted = 130  // Ctrl+C, as shells count it
};

/// Ends the command with a message and an exit code.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitCode code, const std::string& message)
      : std::runtime_error(message), exitCode(code) {}

  const ExitCode exitCode;
};

/// The request was understood and not fulfilled.
class NotDone : public CommandError {
 public:
  explicit NotDone(const std::string& message) : CommandError(ExitCode::kNotDone, message) {}
};

/// An argument that makes no sense.
class WrongUsage : public CommandError {
 public:
  explicit WrongUsage(const std::string& message) : CommandError(ExitCode::kWrongUsage, message) {}
};

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_ERRORS_H_
