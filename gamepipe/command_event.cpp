#include "gamepipe/command_event.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

#include "core/text.h"
#include "gamepipe/words.h"

namespace launcher {

EventPtr MakeCommandEvent(const std::wstring& source, const std::string& name,
                          const std::string& args) {
  const std::wstring wideName = Utf8ToWide(name);
  std::array<std::wstring, EventFields::kArgumentCount> wideWords;
  EventFields fields;
  fields.source = source;
  fields.name = wideName;
  const std::vector<std::string_view> words = SplitString(args, " ");
  const std::size_t count = std::min(words.size(), wideWords.size());
  for (std::size_t i = 0; i < count; ++i) {
    wideWords[i] = Utf8ToWide(std::string(words[i]));
    fields.arguments[i] = wideWords[i];
  }
  return EventInfo::Create(fields);
}

}  // namespace launcher
