// The command object that takes everything a game sends and turns it into host events.
#ifndef LAUNCHER_GAMEPIPE_GENERIC_PELLMAR_COMMAND_H_
#define LAUNCHER_GAMEPIPE_GENERIC_PELLMAR_COMMAND_H_

#include <string>
#include <utility>

#include "gamepipe/command.h"

namespace launcher {

class PellmarAppBase;

/// Makes one event of each command and hands it to the application whose pipe it came from.
class GenericPellmarCommand final : public vorn::PellmarCommand {
 public:
  /// Nothing is executed once `commandOwner` is gone.
  GenericPellmarCommand(PellmarAppBase& commandOwner, std::wstring eventSource)
      : PellmarCommand({}, {}), owner(&commandOwner), sourceId(std::move(eventSource)) {}

  /// When memory runs out, the command is dropped; the next ones are delivered again.
  void execute(const std::string& receivedName, const std::string& receivedArgs) override;

 private:
  PellmarAppBase* owner;
  std::wstring sourceId;
};

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_GENERIC_PELLMAR_COMMAND_H_
