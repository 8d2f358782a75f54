#include "gamepipe/command.h"

namespace vorn {

PellmarCommand::~PellmarCommand() = default;

bool PellmarCommand::isQuery() const { return false; }

bool PellmarCommand::isReply() const { return false; }

void PellmarCommand::execute(const std::string& /*receivedName*/,
                             const std::string& /*receivedArgs*/) {}

CommandHandler::~CommandHandler() {
  for (auto& entry : commands) entry.second.reset();
  defaultCommand.reset();
}

void CommandHandler::Dispatch(const std::string& name, const std::string& args) {
  if (const auto found = commands.find(name); found != commands.end()) {
    if (found->second != nullptr) found->second->execute(found->first, args);
  } else if (defaultCommand != nullptr) {
    defaultCommand->execute(name, args);
  }
}

}  // namespace vorn
