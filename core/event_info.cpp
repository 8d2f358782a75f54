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

std::wstring_view TextOrEmpty(const wchar_t* text) {
  return text == nullptr ? std::wstring_view() : std::wstring_view(text);
}

}  // namespace

EventPtr EventInfo::Make(const EventFields& fields, std::size_t extraCharacters, wchar_t*& end) {
  std::size_t characters = 1;  // the shared terminator of the empty texts
  characters += PlacedLength(fields.source) + PlacedLength(fields.name) + extraCharacters;
  for (const std::wstring_view argument : fields.arguments) characters += PlacedLength(argument);

  static_assert(alignof(EventInfo) >= alignof(wchar_t));
  void* const memory = ::operator new(sizeof(EventInfo) + characters * sizeof(wchar_t));
  end = reinterpret_cast<wchar_t*>(static_cast<EventInfo*>(memory) + 1);
  return EventPtr(new (memory) EventInfo(fields, end));
}

EventPtr EventInfo::Create(const EventFields& fields) {
  wchar_t* end = nullptr;
  return Make(fields, 0, end);
}

EventPtr EventInfo::CreateWithRoom(const EventFields& fields, std::size_t argument,
                                   std::size_t length, wchar_t*& room) {
  EventPtr event = Make(fields, length + 1, room);
  event->texts[kArguments + argument] = room;
  room[length] = L'\0';
  return event;
}

EventPtr EventInfo::CreateIfMemory(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                                   const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3,
                                   const wchar_t* arg4, const wchar_t* arg5, const wchar_t* arg6,
                                   const wchar_t* arg7) noexcept {
  try {
    return Create({source,
                   name,
                   {TextOrEmpty(arg0), TextOrEmpty(arg1), TextOrEmpty(arg2), TextOrEmpty(arg3),
                    TextOrEmpty(arg4), TextOrEmpty(arg5), TextOrEmpty(arg6), TextOrEmpty(arg7)}});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

EventInfo::EventInfo(const EventFields& fields, wchar_t*& cursor) {
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
