#include "gamepipe/generic_pellmar_command.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/text.h"
#include "core/words.h"

namespace launcher {

void GenericPellmarCommand::execute(const std::string& receivedName,
                                    const std::string& receivedArgs) {
  LogLine("%s: args %s\n", "GenericPellmarCommand::execute", receivedArgs.c_str());
  try {
    PostCommandEvent(receivedName, receivedArgs);
  } catch (const std::bad_alloc&) {
    // The frame is consumed already; the frames behind it can still be delivered.
  }
}

void GenericPellmarCommand::PostCommandEvent(const std::string& receivedName,
                                             const std::string& receivedArgs) {
  const std::vector<std::string_view> words = SplitString(receivedArgs, " ");
  std::array<std::wstring, EventFields::kArgumentCount> arguments;
  const std::size_t count = std::min(words.size(), arguments.size());
  for (std::size_t i = 0; i < count; ++i) arguments[i] = Utf8ToWide(std::string(words[i]));

  const std::wstring eventName = Utf8ToWide(receivedName);
  EventFields fields;
  fields.source = sourceId;
  fields.name = eventName;
  std::copy(arguments.begin(), arguments.end(), fields.arguments.begin());
  EventPtr event = EventInfo::Create(fields);

  LogLine("%s: Posting event to instance %p\n", "GenericPellmarCommand::execute",
          static_cast<void*>(owner));
  owner->QueueEvent(std::move(event));
}

}  // namespace launcher
