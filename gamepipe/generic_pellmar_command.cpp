#include "gamepipe/generic_pellmar_command.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/text.h"
#include "gamepipe/words.h"

namespace launcher {
namespace {

// Converts `narrow` to `end` and moves that on.
std::wstring_view AppendWide(const std::string& narrow, wchar_t*& end) {
  const std::wstring_view text(end, Utf8ToWide(std::string_view(narrow), end));
  end += text.size();
  return text;
}

}  // namespace

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
  // No text takes more characters than bytes, so one block has room for all of them.
  const auto memory = std::make_unique_for_overwrite<wchar_t[]>(
      WideCapacity(receivedName.size() + receivedArgs.size()));
  wchar_t* end = memory.get();
  EventFields fields;
  fields.source = sourceId;
  fields.name = AppendWide(receivedName, end);
  const std::vector<std::string_view> words = SplitString(receivedArgs, " ");
  const std::size_t count = std::min(words.size(), fields.arguments.size());
  for (std::size_t i = 0; i < count; ++i) {
    // A zero byte has to stand behind what the system converts.
    fields.arguments[i] = AppendWide(std::string(words[i]), end);
  }
  EventPtr event = EventInfo::Create(fields);

  LogLine("%s: Posting event to instance %p\n", "GenericPellmarCommand::execute",
          static_cast<void*>(owner));
  owner->QueueEvent(std::move(event));
}

}  // namespace launcher
