#include "core/event_info.h"

#include <algorithm>
#include <new>

namespace launcher {
namespace {

// Copies `text` and a terminator to `cursor` and moves it on. Empty texts share one terminator.
const wchar_t* Place(std::wstring_view text, const wchar_t* empty, wchar_t*& cursor) {
  if (text.empty()) return empty;
  const wchar_t* const placed = cursor;
  cursor = std::copy(text.begin(), text.end(), cursor);
  *cursor++ = L'\0';
  return placed;
}

// Characters that Place() writes for `text`.
std::size_t PlacedLength(std::wstring_view text) { return text.empty() ? 0 : text.size() + 1; }

}  // namespace

EventPtr EventInfo::Create(const EventFields& fields) {
  std::size_t characters = 1;  // the shared terminator of the empty texts
  characters += PlacedLength(fields.source) + PlacedLength(fields.name);
  for (const std::wstring_view argument : fields.arguments) characters += PlacedLength(argument);

  static_assert(alignof(EventInfo) >= alignof(wchar_t));
  void* const memory = ::operator new(sizeof(EventInfo) + characters * sizeof(wchar_t));
  auto* const textMemory = reinterpret_cast<wchar_t*>(static_cast<EventInfo*>(memory) + 1);
  return EventPtr(new (memory) EventInfo(fields, textMemory));
}

EventInfo::EventInfo(const EventFields& fields, wchar_t* textMemory) {
  wchar_t* cursor = textMemory;
  const wchar_t* const empty = cursor;
  *cursor++ = L'\0';
  texts[kSource] = Place(fields.source, empty, cursor);
  texts[kName] = Place(fields.name, empty, cursor);
  for (std::size_t i = 0; i < EventFields::kArgumentCount; ++i) {
    texts[kArguments + i] = Place(fields.arguments[i], empty, cursor);
  }
}

void EventDeleter::operator()(EventInfo* event) const noexcept {
  event->~EventInfo();
  ::operator delete(event);
}

}  // namespace launcher
