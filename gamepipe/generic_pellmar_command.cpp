#include "gamepipe/generic_pellmar_command.h"

#include <new>

#include "core/log.h"
#include "gamepipe/command_event.h"
#include "gamepipe/pellmar_app_base.h"

namespace launcher {

void GenericPellmarCommand::execute(const std::string& receivedName,
                                    const std::string& receivedArgs) {
  LogLine("%s: args %s\n", "GenericPellmarCommand::execute", receivedArgs.c_str());
  try {
    EventPtr event = MakeCommandEvent(sourceId, receivedName, receivedArgs);
    LogLine("%s: Posting event to instance %p\n", "GenericPellmarCommand::execute",
            static_cast<void*>(owner));
    owner->QueueEvent(std::move(event));
  } catch (const std::bad_alloc&) {
    // The frame is consumed already; the next ones can still be delivered.
  }
}

}  // namespace launcher
