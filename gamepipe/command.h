// A command as it travels between the launcher and a running game.
#ifndef LAUNCHER_GAMEPIPE_COMMAND_H_
#define LAUNCHER_GAMEPIPE_COMMAND_H_

#include <map>
#include <memory>
#include <string>
#include <utility>

namespace vorn {

/// A name and one text of arguments, both UTF-8. Sent as it is; received commands are handed to the
/// `execute` of a command object that was registered for their name.
class PellmarCommand {
 public:
  PellmarCommand(std::string commandName, std::string commandArgs)
      : name(std::move(commandName)), args(std::move(commandArgs)) {}
  PellmarCommand(const PellmarCommand&) = delete;
  PellmarCommand& operator=(const PellmarCommand&) = delete;
  virtual ~PellmarCommand();

  // Two questions that games' own command classes answer; no command of the launcher does.
  virtual bool isQuery() const;
  virtual bool isReply() const;

  /// Acts on a received command. Does nothing here.
  virtual void execute(const std::string& receivedName, const std::string& receivedArgs);

  const std::string name;
  const std::string args;
};

/// Finds the command object for a received name. Owns all of them.
class CommandHandler {
 public:
  /// `command` takes every name that has no object of its own.
  explicit CommandHandler(std::unique_ptr<PellmarCommand> command)
      : defaultCommand(std::move(command)) {}
  CommandHandler(const CommandHandler&) = delete;
  CommandHandler& operator=(const CommandHandler&) = delete;
  /// Destroys the registered commands in the order of their names, then the default command.
  virtual ~CommandHandler();

  /// Calls `execute` of the object registered under `name`, else of the default command.
  void Dispatch(const std::string& name, const std::string& args);

  /// The launcher registers none: the default command gets everything that a game sends.
  std::map<std::string, std::unique_ptr<PellmarCommand>> commands;
  std::unique_ptr<PellmarCommand> defaultCommand;
};

}  // namespace vorn

#endif  // LAUNCHER_GAMEPIPE_COMMAND_H_
