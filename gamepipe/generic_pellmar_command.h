// The command object that takes everything a game sends and turns it into host events.
#ifndef LAUNCHER_GAMEPIPE_GENERIC_PELLMAR_COMMAND_H_
#define LAUNCHER_GAMEPIPE_GENERIC_PELLMAR_COMMAND_H_

#include <string>
#include <utility>

#include "core/event_info.h"
#include "gamepipe/command.h"

namespace launcher {

/// Where the events of a game's commands go. Implemented by the owner of the pipe.
class CommandEventReceiver {
 public:
  virtual ~CommandEventReceiver() = default;

  /// Delivers the event to the host.
  virtual void QueueEvent(EventPtr event) = 0;
};

/// Makes one event of each command: named after the command, its arguments the first eight words of
/// the command's arguments, its source the identifier of the application.
class GenericPellmarCommand final : public vorn::PellmarCommand {
 public:
  /// `commandOwner` outlives the object.
  GenericPellmarCommand(CommandEventReceiver& commandOwner, std::wstring eventSource)
      : PellmarCommand({}, {}), owner(&commandOwner), sourceId(std::move(eventSource)) {}

  /// When memory runs out, the command is dropped and those behind it go on.
  void execute(const std::string& receivedName, const std::string& receivedArgs) override;

 private:
  void PostCommandEvent(const std::string& receivedName, const std::string& receivedArgs);

  CommandEventReceiver* owner;
  std::wstring sourceId;
};

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_GENERIC_PELLMAR_COMMAND_H_
